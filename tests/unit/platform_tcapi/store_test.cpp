// The two levels and the folder: what a power cut leaves, where the store stands, what goes wrong while it is written.
#include <sys/resource.h>

#include <csignal>

#include "calls.h"
#include "fixture.h"

namespace {

using LevelsTest = StoreTest;

TEST_F(LevelsTest, FlashHoldsWhatWasSavedLast) {
  tcapi_set("n", "a", "saved");
  ASSERT_EQ(tcapi_save(), 0);
  tcapi_set("n", "a", "not saved");
  EXPECT_EQ(read_file(flash()), "# tcapi store 1\n[n]\na=saved\n# end\n");
  EXPECT_EQ(get("n", "a"), "not saved");
}

TEST_F(LevelsTest, OnlySaveWritesFlash) {
  tcapi_set("n", "a", "1");
  tcapi_commit("n");
  EXPECT_FALSE(std::filesystem::exists(flash()));
}

TEST_F(LevelsTest, PowerCutLoadsFlash) {
  tcapi_set("n", "a", "saved");
  tcapi_save();
  tcapi_set("n", "a", "not saved");
  tcapi_set("n", "b", "not saved");
  cut_power();
  EXPECT_EQ(tool({"get", "n", "a"}).out, "saved\n");
  EXPECT_EQ(get("n", "a"), "saved") << "a process that ran on through the power cut";
  EXPECT_EQ(get("n", "b"), "<none>");
}

TEST_F(LevelsTest, WriterThatRanOnThroughThePowerCutChangesWhatFlashHeld) {
  tcapi_set("n", "a", "saved");
  tcapi_save();
  tcapi_set("n", "a", "not saved");
  cut_power();
  EXPECT_EQ(tcapi_set("n", "b", "new"), 0);
  EXPECT_EQ(get("n", "a"), "saved");
  EXPECT_EQ(get("n", "b"), "new");
}

TEST_F(LevelsTest, SaveAfterAPowerCutSavesFlashItself) {
  tcapi_set("n", "a", "saved");
  tcapi_save();
  tcapi_set("n", "a", "not saved");
  cut_power();
  EXPECT_EQ(tcapi_save(), 0);
  EXPECT_EQ(read_file(flash()), "# tcapi store 1\n[n]\na=saved\n# end\n");
}

TEST_F(LevelsTest, PowerCutAtTheFolderAloneIsLoadedFromFlashToo) {
  tcapi_set("n", "a", "saved");
  tcapi_save();
  cut_power();
  std::filesystem::create_directory(folder_ + "/live");
  EXPECT_EQ(tool({"get", "n", "a"}).out, "saved\n");
}

TEST_F(LevelsTest, HandWrittenSeedIsReadAndItsCommentsAreKept) {
  write_file(flash(), "# tcapi store 1\n# a desk\n\n[n]\n# first\na= 1 \n[m]\nb=x\\ny\n# end\n");
  EXPECT_EQ(get("n", "a"), " 1 ");
  EXPECT_EQ(get("m", "b"), "x\ny");
  EXPECT_EQ(tcapi_set("n", "c", "2"), 0);
  EXPECT_EQ(tcapi_save(), 0);
  EXPECT_EQ(read_file(flash()), "# tcapi store 1\n# a desk\n\n[n]\n# first\na= 1 \nc=2\n[m]\nb=x\\ny\n# end\n");
}

TEST_F(LevelsTest, LiveLevelEditedByHandIsTakenUpByTheNextWriter) {
  tcapi_set("n", "a", "1");
  ASSERT_EQ(get("n", "a"), "1");
  write_file(level(), "# tcapi store 1\n[n]\na=edited\n# end\n");
  EXPECT_EQ(tcapi_set("n", "b", "2"), 0);
  EXPECT_EQ(get("n", "a"), "edited");
}

// One thing at a time tells an edited file from the one that was read.
TEST_F(LevelsTest, EditThatChangesOnlyOneMarkOfTheFileIsTakenUpByTheNextWriter) {
  const std::string before = "# tcapi store 1\n[n]\na=1\n# end\n";
  const std::string same_size = "# tcapi store 1\n[n]\na=2\n# end\n";
  const std::string longer = "# tcapi store 1\n[n]\na=22\n# end\n";
  const auto set_time = [this](time_t s, long ns) {
    const timespec times[2] = {{s, ns}, {s, ns}};
    ASSERT_EQ(utimensat(AT_FDCWD, level().c_str(), times, 0), 0);
  };
  const struct {
    const char* mark;
    std::function<void()> edit;
  } edits[] = {
      {"seconds", [&] { write_file(level(), same_size), set_time(1001, 7); }},
      {"nanoseconds", [&] { write_file(level(), same_size), set_time(1000, 8); }},
      {"size", [&] { write_file(level(), longer), set_time(1000, 7); }},
      {"inode",
       [&] {
         write_file(home_ + "/edited", same_size);
         std::filesystem::rename(home_ + "/edited", level());
         set_time(1000, 7);
       }},
  };
  tcapi_set("n", "a", "0");
  for (const auto& one : edits) {
    write_file(level(), before);
    set_time(1000, 7);
    ASSERT_EQ(tcapi_set("n", "a", "1"), 0);  // reads it, and has nothing to change
    ASSERT_EQ(get("n", "a"), "1");
    one.edit();
    EXPECT_EQ(tcapi_set("n", "b", one.mark), 0);
    EXPECT_NE(get("n", "a"), "1") << one.mark;
    EXPECT_EQ(get("n", "b"), one.mark);
  }
}

TEST_F(LevelsTest, FolderIsMadeWithThoseAboveIt) {
  use_folder(home_ + "/one/two/three");
  EXPECT_EQ(tcapi_set("n", "a", "1"), 0);
  EXPECT_TRUE(std::filesystem::exists(level()));
}

TEST_F(LevelsTest, FolderStandsUnderTheRootWhenItIsNotNamed) {
  unsetenv("TCAPI_STORE");
  setenv("NUVEK_ROOT", home_.c_str(), 1);
  EXPECT_EQ(tcapi_set("n", "a", "1"), 0);
  unsetenv("NUVEK_ROOT");
  EXPECT_EQ(read_file(home_ + "/var/lib/tcapi/live/level"), "# tcapi store 1\n[n]\na=1\n# end\n");
}

TEST_F(LevelsTest, EachFolderIsAStoreOfItsOwn) {
  tcapi_set("n", "a", "first");
  use_folder(home_ + "/second");
  EXPECT_EQ(get("n", "a"), "<none>");
  tcapi_set("n", "a", "second");
  use_folder(home_ + "/store");
  EXPECT_EQ(get("n", "a"), "first");
}

// However a program changes its environment, the store goes along: each way twice, there and back.
TEST_F(LevelsTest, FolderFollowsEveryChangeOfTheEnvironment) {
  const std::string first = home_ + "/first";
  const std::string other = home_ + "/other";
  unsetenv("TCAPI_STORE");
  unsetenv("NUVEK_ROOT");
  const auto is_at = [](const std::string& folder) {
    // Only the folder where it is set can answer.
    write_file(folder + "/flash", "# tcapi store 1\n[n]\nfolder=" + folder + "\n# end\n");
    return get("n", "folder") == folder;
  };
  std::filesystem::create_directories(first + "/var/lib/tcapi");
  std::filesystem::create_directories(other + "/var/lib/tcapi");
  for (int round = 0; round < 2; ++round) {
    setenv("NUVEK_ROOT", first.c_str(), 1);
    EXPECT_TRUE(is_at(first + "/var/lib/tcapi")) << "set";
    setenv("NUVEK_ROOT", other.c_str(), 1);
    EXPECT_TRUE(is_at(other + "/var/lib/tcapi")) << "changed";
    setenv("TCAPI_STORE", first.c_str(), 1);
    EXPECT_TRUE(is_at(first)) << "named by the variable that comes first";
    setenv("TCAPI_STORE", (first + "/var").c_str(), 1);
    EXPECT_TRUE(is_at(first + "/var")) << "made longer";
    setenv("TCAPI_STORE", first.c_str(), 1);
    EXPECT_TRUE(is_at(first)) << "made shorter";
    unsetenv("TCAPI_STORE");
    EXPECT_TRUE(is_at(other + "/var/lib/tcapi")) << "removed";
    setenv("ANOTHER_VARIABLE", "", 1);
    setenv("TCAPI_STORE", other.c_str(), 1);
    unsetenv("ANOTHER_VARIABLE");
    EXPECT_TRUE(is_at(other)) << "moved forward";
    std::string in_place = "TCAPI_STORE=" + first;
    putenv(in_place.data());
    EXPECT_TRUE(is_at(first)) << "put";
    in_place.replace(in_place.size() - first.size(), first.size(), other);
    EXPECT_TRUE(is_at(other)) << "changed in place";
    unsetenv("TCAPI_STORE");
    unsetenv("NUVEK_ROOT");
  }
}

// The folder's open fails, so that nothing is made there.
TEST_F(LevelsTest, WithoutAnyEnvironmentTheFolderIsTheGateways) {
  const std::string errors = home_ + "/errors";
  const auto body = [&] {
    redirect(STDERR_FILENO, errors);
    get("n", "a");
    clearenv();
    calls::fail_at_call(1, EACCES);
    get("n", "a");
    calls::stop();
    setenv("TCAPI_STORE", "/the/only/variable", 1);
    calls::fail_at_call(1, EACCES);
    get("n", "a");
    calls::stop();
    return 0;
  };
  EXPECT_EQ(end_of(start_process(body)), 0);
  const std::string reason = ": the store's folder cannot be used: Permission denied\n";
  EXPECT_EQ(read_file(errors), "tcapi: /var/lib/tcapi" + reason + "tcapi: /the/only/variable" + reason);
}

TEST_F(LevelsTest, PlainFileInTheFoldersPlaceIsToldOnce) {
  write_file(home_ + "/file", "precious");
  use_folder(home_ + "/file");
  const std::string errors = errors_of([] {
    for (int i = 0; i < 100; ++i) {
      EXPECT_EQ(get("n", "a"), "<none>");
      EXPECT_NE(tcapi_set("n", "a", "1"), 0);
      EXPECT_NE(tcapi_commit("n"), 0);
      EXPECT_NE(tcapi_save(), 0);
    }
  });
  EXPECT_EQ(errors, "tcapi: " + folder_ + ": the store's folder cannot be used: Not a directory\n");
  EXPECT_EQ(read_file(home_ + "/file"), "precious");
}

// The folder of before must not answer in its place.
TEST_F(LevelsTest, PathThatIsTooLongIsRefusedByEveryCall) {
  tcapi_set("n", "a", "1");
  get("n", "a");
  const std::string before = read_file(level());
  const std::string old_level = level();
  const std::string old_flash = flash();
  use_folder(home_ + "/" + std::string(1024, 'p'));
  const std::string errors = errors_of([] {
    for (int i = 0; i < 2; ++i) {
      EXPECT_EQ(get("n", "a"), "<none>");
      EXPECT_NE(tcapi_set("n", "a", "2"), 0);
      EXPECT_NE(tcapi_commit("n"), 0);
      EXPECT_NE(tcapi_save(), 0);
    }
  });
  EXPECT_EQ(errors, "tcapi: the path of the store's folder is longer than 1023 characters\n");
  EXPECT_EQ(read_file(old_level), before);
  EXPECT_FALSE(std::filesystem::exists(old_flash));
}

// 1,023 characters, by a detour: no name of it is too long for the system.
TEST_F(LevelsTest, LongestPathIsTaken) {
  std::string path = home_ + "/store";
  while (path.size() < 1022) path += "/.";
  if (path.size() == 1022) path += "/";
  ASSERT_EQ(path.size(), 1023U);
  use_folder(path);
  EXPECT_EQ(tcapi_set("n", "a", "1"), 0);
  EXPECT_EQ(get("n", "a"), "1");
  errors_of([&] {
    use_folder(path + "/");
    EXPECT_EQ(get("n", "a"), "<none>");
    unsetenv("TCAPI_STORE");
    setenv("NUVEK_ROOT", path.c_str(), 1);
    EXPECT_EQ(get("n", "a"), "<none>") << "with what stands behind the root";
    unsetenv("NUVEK_ROOT");
  });
}

// A full disk, by the bound on the size of the files that a process may write.
TEST_F(LevelsTest, FullDiskLosesNothing) {
  const std::string value(1000, 'v');
  tcapi_set("n", "a", "1");
  tcapi_save();
  const auto body = [&] {
    signal(SIGXFSZ, SIG_IGN);
    const rlimit bound = {512, 512};
    setrlimit(RLIMIT_FSIZE, &bound);
    redirect(STDERR_FILENO, "/dev/null");
    if (tcapi_set("n", "a", value.c_str()) == 0) return 1;
    return get("n", "a") == "1" && tcapi_save() == 0 ? 0 : 2;
  };
  EXPECT_EQ(end_of(start_process(body)), 0);
  EXPECT_EQ(get("n", "a"), "1");
  EXPECT_FALSE(std::filesystem::exists(folder_ + "/live/level.new"));
}

TEST_F(LevelsTest, StoreThatIsFullRefusesMoreAndKeepsWhatItHas) {
  std::string text = "# tcapi store 1\n[n]\n";
  const std::string tail = "small=1\n# end\n";
  while (text.size() + 1010 + tail.size() < 1024 * 1024)
    text += "a" + std::to_string(text.size()) + "=" + std::string(1000, 'v') + "\n";
  write_file(flash(), text + tail);
  ASSERT_EQ(get("n", "small"), "1");
  const std::string errors = errors_of([] { EXPECT_NE(tcapi_set("n", "more", std::string(1023, '\n').c_str()), 0); });
  EXPECT_EQ(errors, "tcapi: " + folder_ + ": the store is full (1048576 bytes)\n");
  EXPECT_EQ(get("n", "small"), "1");
  EXPECT_EQ(get("n", "more"), "<none>");
}

// Lets call 1 of the body fail, then call 2, and so on until the body has no call of that number.
template <typename Prepare, typename Body, typename Check>
void fail_every_call(int error, const Prepare& prepare, const Body& body, const Check& look) {
  int call = 0;
  int made = 0;
  do {
    prepare();
    calls::fail_at_call(++call, error);
    const int result = body();
    made = calls::stop();
    SCOPED_TRACE("call " + std::to_string(call) + " of " + calls::names() + "failed");
    look(result);
  } while (made >= call);
  EXPECT_GT(made, 10) << "the calls do not pass through the test program";
}

TEST_F(LevelsTest, AnyFailingCallLeavesOldOrNewAndSaysWhich) {
  testing::internal::CaptureStderr();
  for (const int error : {EIO, ENOSPC, EMFILE, EINTR}) {
    fail_every_call(
        error, [] { ASSERT_EQ(tcapi_set("n", "a", "old"), 0); }, [] { return tcapi_set("n", "a", "new"); },
        [this](int result) {
          EXPECT_EQ(tool({"get", "n", "a"}).out, result == 0 ? "new\n" : "old\n");
          EXPECT_EQ(get("n", "a"), result == 0 ? "new" : "old");
        });
  }
  EXPECT_NE(testing::internal::GetCapturedStderr(), "");
}

TEST_F(LevelsTest, AnyFailingCallOfASaveLeavesAWholeFlash) {
  const std::string old_text = "# tcapi store 1\n[n]\na=old\n# end\n";
  const std::string new_text = "# tcapi store 1\n[n]\na=new\n# end\n";
  const auto prepare = [] {
    tcapi_set("n", "a", "old");
    ASSERT_EQ(tcapi_save(), 0);
    tcapi_set("n", "a", "new");
  };
  testing::internal::CaptureStderr();
  fail_every_call(EIO, prepare, tcapi_save, [&](int result) {
    const std::string text = read_file(flash());
    EXPECT_TRUE(text == new_text || (result != 0 && text == old_text)) << text;
    EXPECT_EQ(get("n", "a"), "new");
  });
  EXPECT_NE(testing::internal::GetCapturedStderr(), "");
}

TEST_F(LevelsTest, FlashIsOnTheDiskBeforeItTakesItsNameAndTheNameThen) {
  tcapi_set("n", "a", "1");
  calls::count();
  tcapi_save();
  calls::stop();
  EXPECT_NE(calls::names().find("write fsync close renameat fsync "), std::string::npos) << calls::names();
}

TEST_F(LevelsTest, LiveLevelDoesNotWaitForTheDisk) {
  calls::count();
  tcapi_set("n", "a", "1");
  calls::stop();
  EXPECT_NE(calls::names().find("write close renameat "), std::string::npos) << calls::names();
  EXPECT_EQ(calls::names().find("fsync"), std::string::npos) << calls::names();
}

TEST_F(LevelsTest, RemainsOfAKilledWriterDoNoHarm) {
  tcapi_set("n", "a", "1");
  write_file(folder_ + "/live/level.new", std::string(1000, '#'));
  write_file(folder_ + "/flash.new", std::string(1000, '#'));
  EXPECT_EQ(tcapi_set("n", "a", "2"), 0);
  EXPECT_EQ(tcapi_save(), 0);
  EXPECT_EQ(read_file(level()), "# tcapi store 1\n[n]\na=2\n# end\n");
  EXPECT_EQ(read_file(flash()), "# tcapi store 1\n[n]\na=2\n# end\n");
}

TEST_F(LevelsTest, ShortWritesAndReadsEndInAWholeFile) {
  calls::move_bytes_singly();
  EXPECT_EQ(tcapi_set("n", "a", "value"), 0);
  EXPECT_EQ(tcapi_save(), 0);
  calls::stop();
  EXPECT_EQ(read_file(flash()), "# tcapi store 1\n[n]\na=value\n# end\n");
}

}  // namespace
