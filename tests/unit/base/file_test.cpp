// Paths under the site's root, and files that close themselves.
#include "agent/base/file.h"

#include <dirent.h>

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
  char buffer[16];
  world().write_file("/var/note", "one line\n");
  const file::Stream stream = file::open(file::Path("/var/note"), "r", buffer);
  ASSERT_NE(stream, nullptr);
  char line[32] = "";
  EXPECT_NE(fgets(line, sizeof line, stream.get()), nullptr);
  EXPECT_STREQ(line, "one line\n");
}

TEST_F(FileTest, AFileThatIsNotThereGivesAnEmptyStream) {
  char buffer[16];
  EXPECT_EQ(file::open(file::Path("/var/absent"), "r", buffer), nullptr);
}

TEST_F(FileTest, AWrittenFileIsCompleteOnceItsStreamIsGone) {
  char buffer[16];
  fputs("kept", file::open(file::Path("/var/note"), "w", buffer).get());
  EXPECT_EQ(world().read_file("/var/note"), "kept");
}

TEST_F(FileTest, AStreamClosesItsDescriptor) {
  char buffer[16];
  world().write_file("/var/note", "");
  const size_t before = open_descriptors();
  {
    const file::Stream stream = file::open(file::Path("/var/note"), "r", buffer);
    EXPECT_EQ(open_descriptors(), before + 1);
  }
  EXPECT_EQ(open_descriptors(), before);
}
