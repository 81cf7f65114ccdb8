// The log's two switches and two forms. The agent says nothing unless asked to.
#include "agent/base/log.h"

#include <sstream>
#include <thread>

#include "tests/support/world.h"

using ::testing::IsEmpty;

namespace {

class LogTest : public AgentTest {
 protected:
  static void print_one_of_each() {
    NUVEK_DEBUG("value:%d", 5);
    debug_line = __LINE__ - 1;
    NUVEK_ERROR("reason %s", "x");
    error_line = __LINE__ - 1;
  }
  static std::string debug_prefix() { return "[NUVEK DEBUG print_one_of_each:" + std::to_string(debug_line) + "] "; }
  static std::string error_prefix() { return "[NUVEK ERROR print_one_of_each:" + std::to_string(error_line) + "] "; }
  static int debug_line;
  static int error_line;
};
int LogTest::debug_line;
int LogTest::error_line;

}  // namespace

TEST_F(LogTest, WithBothSwitchesOffTheAgentIsSilent) {
  EXPECT_EQ(stdout_of(print_one_of_each), "");
  EXPECT_EQ(stderr_of(print_one_of_each), "");
  EXPECT_EQ(world().console, "");
}

TEST_F(LogTest, TheConsoleGetsThePrefixAndALineEndWithoutTheMessage) {
  nuvekDebug = 1;
  EXPECT_EQ(stdout_of(print_one_of_each), "");
  EXPECT_EQ(world().console, debug_prefix() + "\n" + error_prefix() + "\n");
}

TEST_F(LogTest, StandardOutputGetsThePrefixTheMessageAndALineEnd) {
  nuvekDebugPrintf = 1;
  const std::string printed = stdout_of(print_one_of_each);
  EXPECT_EQ(printed, debug_prefix() + "value:5\n" + error_prefix() + "reason x\n");
  EXPECT_EQ(world().console, "");
}

TEST_F(LogTest, WithBothSwitchesOnEachGetsItsForm) {
  nuvekDebug = 1;
  nuvekDebugPrintf = 1;
  const std::string printed = stdout_of(print_one_of_each);
  EXPECT_EQ(printed, debug_prefix() + "value:5\n" + error_prefix() + "reason x\n");
  EXPECT_EQ(world().console, debug_prefix() + "\n" + error_prefix() + "\n");
}

TEST_F(LogTest, ASwitchGivenTwicePrintsOnce) {
  nuvekDebug = 2;
  nuvekDebugPrintf = 3;
  const std::string printed = stdout_of(print_one_of_each);
  EXPECT_EQ(printed, debug_prefix() + "value:5\n" + error_prefix() + "reason x\n");
  EXPECT_EQ(world().console, debug_prefix() + "\n" + error_prefix() + "\n");
}

TEST_F(LogTest, ErrorsGoNowhereElse) {
  nuvekDebug = 1;
  nuvekDebugPrintf = 1;
  std::string errors;
  stdout_of([&] { errors = stderr_of(print_one_of_each); });
  EXPECT_EQ(errors, "");
}

TEST_F(LogTest, AHelperLogsInTheNameOfTheOperationThatCalledIt) {
  const std::string output = raw_log([] { NUVEK_DEBUG_AS("nuvek_report", "Enter"); });
  EXPECT_EQ(output, "[NUVEK DEBUG nuvek_report:" + std::to_string(__LINE__ - 1) + "] Enter\n");
  const std::string error = raw_log([] { NUVEK_ERROR_AS("nuvek_report", " sendPostRequest error"); });
  EXPECT_EQ(error, "[NUVEK ERROR nuvek_report:" + std::to_string(__LINE__ - 1) + "]  sendPostRequest error\n");
}

TEST_F(LogTest, AMessageIsPrintedWhateverItsLength) {
  const std::string message(5000, 'm');
  const std::string output = raw_log([&] { NUVEK_DEBUG_AS("long", "%s", message.c_str()); });
  EXPECT_EQ(output, "[NUVEK DEBUG long:" + std::to_string(__LINE__ - 1) + "] " + message + "\n");
}

TEST_F(LogTest, APercentSignInAValueIsPrintedAsItIs) {
  EXPECT_THAT(raw_log([] { NUVEK_DEBUG("%s", "100%s%n"); }), ::testing::EndsWith("] 100%s%n\n"));
}

TEST_F(LogTest, LinesOfTwoThreadsStayWhole) {
  constexpr int kLinesEach = 2000;
  const auto talk = [](const char* name) {
    for (int i = 0; i < kLinesEach; ++i) NUVEK_DEBUG_AS(name, "%s %s", name, name);
  };
  // Each piece of a line goes out at once, so that a line which is not held together is seen to be torn.
  setvbuf(stdout, nullptr, _IONBF, 0);
  std::istringstream output(raw_log([&] {
    std::thread other(talk, "second");
    talk("first");
    other.join();
  }));
  int lines = 0;
  for (std::string line; std::getline(output, line); ++lines) {
    const std::string name = line.find("first") == std::string::npos ? "second" : "first";
    EXPECT_EQ(line.substr(0, line.find(':')), "[NUVEK DEBUG " + name);
    EXPECT_EQ(line.substr(line.find("] ")), "] " + name + " " + name);
  }
  EXPECT_EQ(lines, 2 * kLinesEach);
}
