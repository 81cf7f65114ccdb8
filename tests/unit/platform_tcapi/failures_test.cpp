// Each call that can fail, and what the store then answers, says and leaves behind.
#include <sys/stat.h>

#include <cerrno>
#include <cstring>

#include "calls.h"
#include "fixture.h"
#include "platform/tcapi/store.h"

namespace {

constexpr char kDone[] = "";  // told, when the failure changes nothing
// Each failure has another error than those around it, since what was told last is not told again. These mean nothing
// here, and each has a text of its own in every C library.
constexpr int kFirstError = EXDEV;
constexpr int kErrors = ERANGE - EXDEV + 1;

struct Call {
  const char* name;
  const char* told;  // behind "tcapi: FOLDER", ahead of the reason
};
constexpr char kFolder[] = ": the store's folder cannot be used: ";
constexpr char kLevelRefused[] = "/live/level: refused: ";
constexpr char kFlashRefused[] = "/flash: refused: ";
constexpr char kLevelNotWritten[] = "/live/level: cannot be written: ";
constexpr char kFlashNotWritten[] = "/flash: cannot be written: ";
constexpr char kNotOnTheDisk[] = "/flash: cannot be written: ";  // the name, that is; the text is

class FailuresTest : public StoreTest {
 protected:
  // Lets each call of the body fail in its turn. The table holds the calls that the body makes; one whose failure is
  // told must have the body refused, and all others must not.
  void expect_failures(const std::vector<Call>& table, const std::function<void()>& prepare,
                       const std::function<int()>& body, const std::function<void(const Call&)>& look) const {
    prepare();
    calls::count();
    EXPECT_EQ(body(), 0);
    calls::stop();
    std::string names;
    for (const Call& call : table) names += std::string(call.name) + ' ';
    ASSERT_EQ(calls::names(), names);
    for (size_t k = 0; k < table.size(); ++k) {
      SCOPED_TRACE("failing call " + std::to_string(k + 1) + ", " + table[k].name);
      prepare();
      const int error = kFirstError + static_cast<int>(k) % kErrors;
      int result = 0;
      const std::string errors = errors_of([&] {
        calls::fail_at_call(static_cast<int>(k) + 1, error);
        result = body();
        calls::stop();
      });
      const bool refused = table[k].told != kDone;
      EXPECT_EQ(result != 0, refused);
      EXPECT_EQ(errors, refused ? "tcapi: " + folder_ + table[k].told + strerror(error) + "\n" : "");
      look(table[k]);
    }
  }
};

TEST_F(FailuresTest, EachFailingCallOfAChange) {
  const std::string old_text = "# tcapi store 1\n[n]\na=old\n# end\n";
  const std::string new_text = "# tcapi store 1\n[n]\na=new\n# end\n";
  const std::string leftover = "# tcapi store 1\n[n]\na=a dead writer's\n# end\n";
  const auto prepare = [&] {
    ASSERT_EQ(tcapi_set("n", "a", "old"), 0);
    ASSERT_EQ(get("n", "a"), "old");
    write_file(folder_ + "/live/level.new", leftover);
  };
  const auto look = [&](const Call& failed) {
    const bool refused = failed.told != kDone;
    EXPECT_EQ(read_file(level()), refused ? old_text : new_text);
    EXPECT_EQ(get("n", "a"), refused ? "old" : "new");
    const bool began = failed.name == std::string("write") || failed.name == std::string("close");
    EXPECT_FALSE(refused && began && std::filesystem::exists(folder_ + "/live/level.new"));
  };
  expect_failures(
      {{"open", kFolder},
       {"openat", kFolder},
       {"flock", kFolder},
       {"fstat", kFolder},
       {"fstatat", kDone},
       {"openat", kLevelNotWritten},
       {"write", kLevelNotWritten},
       {"write", kLevelNotWritten},
       {"write", kLevelNotWritten},
       {"close", kLevelNotWritten},
       {"renameat", kLevelNotWritten},
       {"flock", kDone},
       {"close", kDone},
       {"close", kDone}},
      prepare, [] { return tcapi_set("n", "a", "new"); }, look);
}

TEST_F(FailuresTest, EachFailingCallOfARead) {
  const auto prepare = [] { ASSERT_EQ(tcapi_set("n", "a", "1"), 0); };
  const auto read = [] {
    char value[TCAPI_VALUE_MAX + 1];
    return tcapi_get("n", "a", value);
  };
  expect_failures(
      {{"open", kFolder},
       {"openat", kFolder},
       {"flock", kFolder},
       {"fstat", kFolder},
       {"openat", kLevelRefused},
       {"fstat", kLevelRefused},
       {"read", kLevelRefused},
       {"close", kDone},
       {"flock", kDone},
       {"close", kDone},
       {"close", kDone}},
      [&] {
        prepare();
        ASSERT_EQ(tcapi_set("n", "b", std::to_string(rand()).c_str()), 0);
      },
      read, [](const Call&) { EXPECT_EQ(get("n", "a"), "1"); });
}

TEST_F(FailuresTest, EachFailingCallOfASave) {
  const std::string old_text = "# tcapi store 1\n[n]\na=old\n# end\n";
  const std::string new_text = "# tcapi store 1\n[n]\na=new\n# end\n";
  const std::string leftover = "# tcapi store 1\n[n]\na=a dead writer's\n# end\n";
  const auto prepare = [&] {
    ASSERT_EQ(tcapi_set("n", "a", "old"), 0);
    ASSERT_EQ(tcapi_save(), 0);
    ASSERT_EQ(tcapi_set("n", "a", "new"), 0);
    write_file(folder_ + "/flash.new", leftover);
  };
  const auto look = [&](const Call& failed) {
    const bool refused = failed.told != kDone;
    const bool has_name = failed.told == kNotOnTheDisk;
    EXPECT_EQ(read_file(flash()), refused && !has_name ? old_text : new_text);
    EXPECT_EQ(get("n", "a"), "new");
    const bool began = failed.name == std::string("write") || failed.name == std::string("close");
    EXPECT_FALSE(refused && began && std::filesystem::exists(folder_ + "/flash.new"));
  };
  expect_failures({{"open", kFolder},
                   {"openat", kFolder},
                   {"flock", kFolder},
                   {"fstat", kFolder},
                   {"openat", kFlashRefused},
                   {"fstat", kFlashRefused},
                   {"read", kFlashRefused},
                   {"close", kDone},
                   {"openat", kLevelRefused},
                   {"fstat", kLevelRefused},
                   {"read", kLevelRefused},
                   {"close", kDone},
                   {"openat", kFlashNotWritten},
                   {"write", kFlashNotWritten},
                   {"fsync", kFlashNotWritten},
                   {"close", kFlashNotWritten},
                   {"renameat", kFlashNotWritten},
                   {"fsync", kNotOnTheDisk},
                   {"flock", kDone},
                   {"close", kDone},
                   {"close", kDone}},
                  prepare, tcapi_save, look);
}

TEST_F(FailuresTest, EachFailingCallOfAFirstUse) {
  int number = 0;
  const auto prepare = [&] {
    use_folder(home_ + "/first" + std::to_string(++number));
    std::filesystem::create_directory(folder_);
    write_file(flash(), "# tcapi store 1\n[n]\na=1\n# end\n");
  };
  expect_failures(
      {{"open", kFolder},
       {"openat", kFolder},
       {"flock", kFolder},
       {"fstat", kFolder},
       {"write", "/lock: cannot be used: "},
       {"openat", kLevelRefused},
       {"openat", kFlashRefused},
       {"fstat", kFlashRefused},
       {"read", kFlashRefused},
       {"close", kDone},
       {"mkdirat", "/live: cannot be made: "},
       {"openat", kLevelNotWritten},
       {"write", kLevelNotWritten},
       {"close", kLevelNotWritten},
       {"renameat", kLevelNotWritten},
       {"openat", kLevelRefused},
       {"fstat", kLevelRefused},
       {"read", kLevelRefused},
       {"close", kDone},
       {"flock", kDone},
       {"close", kDone},
       {"close", kDone}},
      prepare, [] { return tcapi_commit("n"); }, [](const Call&) { EXPECT_EQ(get("n", "a"), "1"); });
}

TEST_F(FailuresTest, InterruptedCallsAreMadeAgain) {
  ASSERT_EQ(tcapi_set("n", "a", "0"), 0);
  for (const char* name : {"flock", "read", "write"}) {
    SCOPED_TRACE(name);
    std::filesystem::remove_all(folder_ + "/live");
    calls::count();
    ASSERT_EQ(tcapi_set("n", "a", "0"), 0);
    calls::stop();
    const int number = calls::number_of(name);
    cut_power();
    calls::fail_at_call(number, EINTR);
    EXPECT_EQ(tcapi_set("n", "a", "1"), 0);
    calls::stop();
    EXPECT_EQ(get("n", "a"), "1");
  }
}

// A power cut in the middle of an open: the folder was there a moment ago.
TEST_F(FailuresTest, FolderThatCannotBeMadeIsTold) {
  write_file(home_ + "/file", "");
  use_folder(home_ + "/file/store");
  EXPECT_EQ(errors_of([] { EXPECT_NE(tcapi_set("n", "a", "1"), 0); }),
            "tcapi: " + folder_ + ": the store's folder cannot be used: Not a directory\n");
}

// A store of its own, which has not grown with other tests' stores: each level needs more room than the one before,
// first for its bytes and then for its nodes.
TEST_F(FailuresTest, LackOfMemoryRefusesTheLevelUntilThereIsSome) {
  static tcapi_store::Store store;  // which never gives memory back: it lives as long as its process
  std::string text = "# tcapi store 1\n";
  int number = 0;
  for (int round = 0; round < 3; ++round) {
    for (const char* refused : {"/live/level: refused", ": the store cannot be loaded"}) {
      const std::string node = "node" + std::to_string(++number);
      for (int k = 0; k < 100 << number; ++k) text += "[" + node + "_" + std::to_string(k) + "]\na=1\n";
      write_file(flash(), text + "# end\n");
      cut_power();
      ASSERT_EQ(tool({"commit", node + "_0"}).status, 0);  // the live level is there
      const bool for_bytes = refused[0] == '/';
      const std::string errors = errors_of([&] {
        calls::fail_at_realloc(for_bytes ? 1 : 2);
        EXPECT_FALSE(store.refresh());
        calls::stop();
      });
      EXPECT_EQ(errors, "tcapi: " + folder_ + refused + ": " + strerror(ENOMEM) + "\n");
      EXPECT_TRUE(store.refresh());
      EXPECT_EQ(store.find(node + "_99", "a").value, "1");
    }
  }
}

class ModesTest : public StoreTest {
 protected:
  static mode_t mode_of(const std::string& path) {
    struct stat status = {};
    EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777;
  }
};

TEST_F(ModesTest, FoldersAndFilesAreAsOpenAsTheUmaskAllows) {
  for (const mode_t mask : {0U, 027U, 077U}) {
    use_folder(home_ + "/made/" + std::to_string(mask));
    ASSERT_EQ(end_of(start_process([mask] {
                umask(mask);
                return tcapi_set("n", "a", "1") == 0 && tcapi_save() == 0 ? 0 : 1;
              })),
              0);
    for (const char* folder : {"", "/live"}) EXPECT_EQ(mode_of(folder_ + folder), 0777 & ~mask) << folder;
    for (const char* file : {"/lock", "/flash", "/live/level"})
      EXPECT_EQ(mode_of(folder_ + file), 0666 & ~mask) << file;
  }
}

TEST_F(ModesTest, NoDescriptorIsInheritedByAProgramThatIsStartedMeanwhile) {
  calls::count();
  tcapi_set("n", "a", "1");
  tcapi_save();
  tcapi_save();
  calls::stop();
  EXPECT_NE(calls::flags_of_all_opens() & O_CLOEXEC, 0) << calls::names();
}

// A program that was started with its first descriptors closed: the store's files take their numbers, and give them
// back.
TEST_F(ModesTest, DescriptorsFromZeroOnAreUsedAndGivenBack) {
  const auto body = [] {
    for (const int fd : {0, 1, 2}) close(fd);
    if (tcapi_set("n", "a", "1") != 0 || tcapi_save() != 0 || get("n", "a") != "1") return 1;
    return open("/dev/null", O_RDONLY | O_CLOEXEC) == 0 && open("/dev/null", O_RDONLY | O_CLOEXEC) == 1 ? 0 : 2;
  };
  EXPECT_EQ(end_of(start_process(body)), 0);
}

TEST_F(ModesTest, PipeInTheFoldersPlaceDoesNotHang) {
  use_folder(home_ + "/pipe");
  ASSERT_EQ(mkfifo(folder_.c_str(), 0600), 0);
  const auto body = [] {
    redirect(STDERR_FILENO, "/dev/null");
    return tcapi_set("n", "a", "1");
  };
  EXPECT_EQ(end_of(start_process(body)), 255);
}

}  // namespace
