// Paths under the site's root, and files that close themselves.
#include "agent/base/file.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

#include "tests/support/world.h"

namespace {

size_t open_descriptors() {
  size_t count = 0;
  DIR* folder = opendir("/proc/self/fd");
  while (readdir(folder) != nullptr) ++count;
  closedir(folder);
  return count;
}

using FileTest = AgentTest;

}  // namespace

TEST_F(FileTest, APathLiesUnderTheSitesRoot) {
  EXPECT_EQ(file::Path("/var/httpURL").c_str(), world().root + "/var/httpURL");
}

TEST_F(FileTest, WithoutARootAPathIsWhatItSays) {
  setenv("NUVEK_ROOT", "", 1);
  EXPECT_STREQ(file::Path("/tmp/timeSync").c_str(), "/tmp/timeSync");
}

TEST_F(FileTest, APathThatIsTooLongIsCut) {
  setenv("NUVEK_ROOT", "", 1);
  const std::string longest(255, 'p');
  EXPECT_EQ(file::Path(longest.c_str()).c_str(), longest);
  EXPECT_EQ(file::Path((longest + "q").c_str()).c_str(), longest);
}

TEST_F(FileTest, AnOpenFileReadsWhatItHolds) {
  world().write_file("/var/note", "one line\n");
  const file::Reader file(file::Path("/var/note"));
  ASSERT_TRUE(file.is_open());
  char line[32] = "";
  EXPECT_NE(fgets(line, sizeof line, file.stream()), nullptr);
  EXPECT_STREQ(line, "one line\n");
}

TEST_F(FileTest, AFileThatIsNotThereIsNotOpen) { EXPECT_FALSE(file::Reader(file::Path("/var/absent")).is_open()); }

TEST_F(FileTest, AReaderClosesItsDescriptor) {
  world().write_file("/var/note", "");
  const size_t before = open_descriptors();
  {
    const file::Reader file(file::Path("/var/note"));
    EXPECT_EQ(open_descriptors(), before + 1);
  }
  EXPECT_EQ(open_descriptors(), before);
}

TEST_F(FileTest, AReaderIsNotInheritedByHelperPrograms) {
  world().write_file("/var/note", "");
  const file::Reader file(file::Path("/var/note"));
  EXPECT_EQ(fcntl(fileno(file.stream()), F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
}

// --- replacing a file ------------------------------------------------------------------------------------------------

class ReplacementTest : public AgentTest {
 protected:
  file::Path path_{"/var/keys"};
  file::Path beside_{"/var/keys.new"};
};

TEST_F(ReplacementTest, TheNewFileTakesTheOldOnesPlaceAndNothingIsLeftBeside) {
  world().write_file("/var/keys", "a longer text than the new one");
  file::Replacement file(path_, beside_);
  ASSERT_TRUE(file.is_open());
  EXPECT_EQ(world().read_file("/var/keys"), "a longer text than the new one") << "until it is finished";
  EXPECT_TRUE(file.finish("new"));
  EXPECT_EQ(world().read_file("/var/keys"), "new");
  EXPECT_EQ(world().read_file("/var/keys.new"), std::nullopt);
}

TEST_F(ReplacementTest, ALeftoverOfAnEarlierRunDoesNoHarm) {
  world().write_file("/var/keys.new", "half a file of an earlier run");
  file::Replacement file(path_, beside_);
  EXPECT_TRUE(file.finish("new"));
  EXPECT_EQ(world().read_file("/var/keys"), "new");
}

TEST_F(ReplacementTest, AFullDiskLeavesTheOldFileAndNothingBeside) {
  world().write_file("/var/keys", "old");
  file::Replacement file(path_, beside_);
  signal(SIGXFSZ, SIG_IGN);  // the write fails instead
  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  const rlimit few{4, before.rlim_max};
  setrlimit(RLIMIT_FSIZE, &few);
  const bool finished = file.finish("more than four bytes");
  setrlimit(RLIMIT_FSIZE, &before);
  EXPECT_FALSE(finished);
  EXPECT_EQ(world().read_file("/var/keys"), "old");
  EXPECT_EQ(world().read_file("/var/keys.new"), std::nullopt);
}

TEST_F(ReplacementTest, WhatCannotBeRenamedIsAFailure) {
  file::Replacement file(path_, beside_);
  ASSERT_EQ(mkdir(path_.c_str(), 0755), 0);
  EXPECT_FALSE(file.finish("new"));
  EXPECT_EQ(world().read_file("/var/keys.new"), std::nullopt);
}

TEST_F(ReplacementTest, AFolderInEitherPlaceCannotBeOpened) {
  ASSERT_EQ(mkdir(path_.c_str(), 0755), 0);
  EXPECT_FALSE(file::Replacement(path_, beside_).is_open());
  ASSERT_EQ(rmdir(path_.c_str()), 0);
  ASSERT_EQ(mkdir(beside_.c_str(), 0755), 0);
  EXPECT_FALSE(file::Replacement(path_, beside_).is_open());
}
