// Whether one of the gateway's programs runs.
#include "agent/base/process.h"

#include "tests/support/world.h"

namespace {

using testing::ElementsAre;

class Process : public AgentTest {
 protected:
  // What nuvek_app_running makes of the pid file's content.
  static int running_with(const std::string& pids) {
    world().on_system = [pids](const std::string&) {
      world().write_file("/tmp/app_check.pid", pids);
      return 0;
    };
    return nuvek_app_running("traceroute");
  }
  std::string pid_command() const { return "pidof traceroute > " + world().root + "/tmp/app_check.pid"; }
};

}  // namespace

TEST_F(Process, TheFirstPidOfTheFileIsTheAnswerAndTheFileIsDeleted) {
  EXPECT_EQ(running_with("321\n"), 321);
  EXPECT_THAT(world().commands(), ElementsAre(pid_command()));
  EXPECT_EQ(world().read_file("/tmp/app_check.pid"), std::nullopt);
  EXPECT_EQ(running_with("7 8 9\n"), 7);
  EXPECT_EQ(running_with("12345\n"), 12345);
  EXPECT_EQ(running_with("1234567\n"), 12345) << "five characters are read";
  EXPECT_EQ(running_with("\n"), 0);
  EXPECT_EQ(running_with(""), 0);
  EXPECT_EQ(running_with("abc"), 0);
}

TEST_F(Process, WithoutAPidFileTheAnswerIsMinusOne) { EXPECT_EQ(nuvek_app_running("traceroute"), -1); }
