// Files that are no sound store: refused, told once, never overwritten.
#include <sys/stat.h>

#include "fixture.h"

namespace {

class RefusedStoreTest : public StoreTest {
 protected:
  // Every call is refused, the file stays, and standard error says this and nothing else.
  void expect_refused(const std::string& path, const std::string& reason) const {
    const std::string before = read_file(path);
    const std::string errors = errors_of([] {
      for (int i = 0; i < 50; ++i) {
        char value[TCAPI_VALUE_MAX + 1] = "as it was";
        EXPECT_NE(tcapi_get("n", "a", value), 0);
        EXPECT_STREQ(value, "as it was");
        EXPECT_NE(tcapi_set("n", "a", "new"), 0);
        EXPECT_NE(tcapi_commit("n"), 0);
      }
    });
    EXPECT_EQ(errors, "tcapi: " + path + ": refused: " + reason + "\n");
    errors_of([] { EXPECT_NE(tcapi_save(), 0); });
    EXPECT_EQ(read_file(path), before);
  }
};

TEST_F(RefusedStoreTest, ForeignFlash) {
  write_file(flash(), "#!/bin/sh\nexit 0\n");
  expect_refused(flash(), "line 1: not a store: its first line is not \"# tcapi store 1\"");
}

TEST_F(RefusedStoreTest, EmptyFlash) {
  write_file(flash(), "");
  expect_refused(flash(), "line 1: not a store: its first line is not \"# tcapi store 1\"");
}

TEST_F(RefusedStoreTest, BrokenLine) {
  write_file(flash(), "# tcapi store 1\n[n]\na=1\nwhat is this\n# end\n");
  expect_refused(flash(), "line 4: neither [node] nor attribute=value");
}

TEST_F(RefusedStoreTest, TornLiveLevel) {
  tcapi_set("n", "a", "1");
  tcapi_save();
  write_file(level(), "# tcapi store 1\n[n]\na=");
  // This process has read the level before: it learns of the torn one when it next writes.
  errors_of([] { EXPECT_NE(tcapi_set("n", "a", "2"), 0); });
  EXPECT_EQ(read_file(level()), "# tcapi store 1\n[n]\na=");
  EXPECT_EQ(tool({"get", "n", "a"}).status, 1);
  EXPECT_EQ(get("n", "a"), "<none>");
  cut_power();
  EXPECT_EQ(get("n", "a"), "1");
}

TEST_F(RefusedStoreTest, TornLiveLevelIsNotSaved) {
  tcapi_set("n", "a", "1");
  ASSERT_EQ(tcapi_save(), 0);
  const std::string sound = read_file(flash());
  write_file(level(), "# tcapi store 1\n[n]\na=");
  const std::string errors = errors_of([] { EXPECT_NE(tcapi_save(), 0); });
  EXPECT_EQ(errors, "tcapi: " + level() + ": refused: line 3: torn: the last line is not \"# end\" and a newline\n");
  EXPECT_EQ(read_file(flash()), sound);
}

TEST_F(RefusedStoreTest, OversizedFlash) {
  write_file(flash(), "# tcapi store 1\n" + std::string(1024 * 1024, '\n') + "# end\n");
  expect_refused(flash(), "larger than a store may be (1 MiB)");
}

TEST_F(RefusedStoreTest, LargestFlashIsNotOversized) {
  const std::string text = "# tcapi store 1\n[n]\na=1\n# end\n";
  write_file(flash(), text.substr(0, 16) + std::string(1024 * 1024 - text.size(), '\n') + text.substr(16));
  EXPECT_EQ(get("n", "a"), "1");
}

TEST_F(RefusedStoreTest, FolderInTheFilesPlace) {
  std::filesystem::create_directory(flash());
  expect_refused(flash(), "not a plain file");
}

TEST_F(RefusedStoreTest, PipeInTheFilesPlaceDoesNotHang) {
  ASSERT_EQ(mkfifo(flash().c_str(), 0600), 0);
  const std::string errors = errors_of([] { EXPECT_EQ(get("n", "a"), "<none>"); });
  EXPECT_EQ(errors, "tcapi: " + flash() + ": refused: not a plain file\n");
}

TEST_F(RefusedStoreTest, MendedFileIsTakenUpAndSpoiledAgainToldAgain) {
  const std::string torn = "# tcapi store 1\n[n]\na=1\n";
  const std::string reason =
      "tcapi: " + flash() + ": refused: line 4: torn: the last line is not \"# end\" and a newline\n";
  write_file(flash(), torn);
  EXPECT_EQ(errors_of([] { get("n", "a"), get("n", "a"); }), reason);
  write_file(flash(), torn + "# end\n");
  EXPECT_EQ(get("n", "a"), "1");
  write_file(flash(), torn);
  cut_power();
  EXPECT_EQ(errors_of([] { tcapi_set("n", "a", "2"), get("n", "a"); }), reason);
}

TEST_F(RefusedStoreTest, FlashSpoiledMeanwhileIsNotOverwrittenBySave) {
  tcapi_set("n", "a", "1");
  ASSERT_EQ(tcapi_save(), 0);
  write_file(flash(), "a letter to my mother\n");
  const std::string errors = errors_of([] {
    for (int i = 0; i < 50; ++i) {
      EXPECT_NE(tcapi_save(), 0);
      EXPECT_EQ(tcapi_set("n", "a", std::to_string(i).c_str()), 0);
    }
  });
  EXPECT_EQ(errors,
            "tcapi: " + flash() + ": refused: line 1: not a store: its first line is not \"# tcapi store 1\"\n");
  EXPECT_EQ(read_file(flash()), "a letter to my mother\n");
  std::filesystem::remove(flash());
  EXPECT_EQ(tcapi_save(), 0);
  EXPECT_EQ(read_file(flash()), read_file(level()));
}

TEST_F(RefusedStoreTest, FlashTornAtAnyByteIsRefusedAndKept) {
  for (int i = 0; i < 5; ++i) tcapi_set("n", ("a" + std::to_string(i)).c_str(), "line\nand \\ more");
  tcapi_set("m", "b", "# end\n");
  ASSERT_EQ(tcapi_save(), 0);
  const std::string whole = read_file(flash());
  for (size_t size = 0; size < whole.size(); ++size) {
    cut_power();
    write_file(flash(), whole.substr(0, size));
    errors_of([] { EXPECT_NE(tcapi_set("n", "new", "1"), 0); });
    EXPECT_EQ(get("n", "a0"), "<none>") << "cut after byte " << size;
    EXPECT_EQ(read_file(flash()), whole.substr(0, size));
  }
}

}  // namespace
