// The tool as a shell sees it: output, messages, exit status.
#include <poll.h>

#include <csignal>

#include "fixture.h"

namespace {

class ToolTest : public StoreTest {
 protected:
  void expect(const std::vector<std::string>& words, int status, const std::string& out, const std::string& err) const {
    const ToolRun run = tool(words);
    EXPECT_EQ(run.status, status);
    EXPECT_EQ(run.out, out);
    EXPECT_EQ(run.err, err);
  }
};

TEST_F(ToolTest, SetThenGetPrintsTheValueAlone) {
  expect({"set", "n", "a", "a value"}, 0, "", "");
  expect({"get", "n", "a"}, 0, "a value\n", "");
  EXPECT_EQ(get("n", "a"), "a value");
}

TEST_F(ToolTest, ValuesAreTakenAsTheyAre) {
  for (const char* value : {"", "--help", "-1", "\\n", "two\nlines", "a=b", "# end"}) {
    expect({"set", "n", "a", value}, 0, "", "");
    expect({"get", "n", "a"}, 0, std::string(value) + "\n", "");
  }
}

TEST_F(ToolTest, MissingNodeAndAttributeAreTold) {
  tcapi_set("n", "a", "1");
  expect({"get", "m", "a"}, 1, "", "tcapi: no node m\n");
  expect({"get", "n", "b"}, 1, "", "tcapi: no attribute b in node n\n");
  expect({"commit", "m"}, 1, "", "tcapi: no node m\n");
  expect({"show", "m"}, 1, "", "tcapi: no node m\n");
}

TEST_F(ToolTest, CommitAndSave) {
  tcapi_set("n", "a", "1");
  expect({"commit", "n"}, 0, "", "");
  EXPECT_FALSE(std::filesystem::exists(flash()));
  expect({"save"}, 0, "", "");
  EXPECT_EQ(read_file(flash()), "# tcapi store 1\n[n]\na=1\n# end\n");
}

TEST_F(ToolTest, ShowPrintsAllOrOneNode) {
  write_file(flash(), "# tcapi store 1\n# comment\n[n]\na=1\n\nb=x\\ny\n[m]\nc=3\n# end\n");
  expect({"show"}, 0, "[n]\na=1\nb=x\\ny\n[m]\nc=3\n", "");
  expect({"show", "m"}, 0, "[m]\nc=3\n", "");
}

TEST_F(ToolTest, RefusedStoreIsStatusOneWithTheReason) {
  write_file(flash(), "no store\n");
  const std::string reason =
      "tcapi: " + flash() + ": refused: line 1: not a store: its first line is not \"# tcapi store 1\"\n";
  expect({"get", "n", "a"}, 1, "", reason);
  expect({"set", "n", "a", "1"}, 1, "", reason);
  expect({"commit", "n"}, 1, "", reason);
  expect({"save"}, 1, "", reason);
  expect({"show"}, 1, "", reason);
  expect({"watch"}, 1, "", reason);
  EXPECT_EQ(read_file(flash()), "no store\n");
}

TEST_F(ToolTest, RefusedValueIsStatusOne) {
  expect({"set", "n", "a", std::string(1024, 'v')}, 1, "",
         "tcapi: cannot set n a: the value is longer than 1023 characters\n");
  expect({"set", "n=", "a", "v"}, 1, "",
         "tcapi: cannot set: a name is 1 to 63 visible characters without '=', '#', '[' and ']'\n");
}

TEST_F(ToolTest, WrongUsageIsStatusTwo) {
  const std::string more = "; \"tcapi --help\" tells more\n";
  expect({}, 2, "", "tcapi: no command" + more);
  expect({"list"}, 2, "", "tcapi: no such command: list" + more);
  expect({"--list"}, 2, "", "tcapi: no such command: --list" + more);
  expect({"-h", "get", "n", "a"}, 2, "", "tcapi: no such command: -h" + more);
  const std::vector<std::vector<std::string>> wrong = {
      {"get"},       {"get", "n"},       {"get", "n", "a", "b"}, {"set", "n", "a"}, {"commit"},
      {"save", "n"}, {"show", "n", "a"}, {"watch", "n"},         {"set", "n"},      {"commit", "n", "m"}};
  for (const auto& words : wrong) expect(words, 2, "", "tcapi: wrong number of words for " + words[0] + more);
}

TEST_F(ToolTest, HelpGoesToStandardOutput) {
  expect(
      {"--help"}, 0,
      "Usage: tcapi COMMAND\n"
      "\n"
      "Reads, changes and watches the configuration store of a gateway or a desk, as its other software does.\n"
      "\n"
      "  get NODE ATTR         print the value of an attribute\n"
      "  set NODE ATTR VALUE   change an attribute of the live level, or make it\n"
      "  commit NODE           tell the gateway's software that the changes of a node are complete\n"
      "  save                  write the live level to flash\n"
      "  show [NODE]           print the live level, or one node of it\n"
      "  watch                 print each change as NODE ATTR=VALUE until interrupted; values that come and go within\n"
      "                        20 ms may be missed, and an attribute that is gone is not told\n"
      "  --help                print this text\n"
      "\n"
      "show and watch write \\\\, \\n and \\r for backslash, newline and carriage return.\n"
      "\n"
      "The store is the folder TCAPI_STORE, by default $NUVEK_ROOT/var/lib/tcapi.\n"
      "Exit status: 0 done, 1 no such node or attribute or store refused, 2 wrong usage.\n",
      "");
}

TEST_F(ToolTest, OutputThatCannotBeWrittenIsAnError) {
  tcapi_set("n", "a", "1");
  const pid_t pid = start_process([] {
    redirect(STDOUT_FILENO, "/dev/full");
    redirect(STDERR_FILENO, "/dev/null");
    return become_tool({"get", "n", "a"});
  });
  EXPECT_EQ(end_of(pid), 1);
}

TEST_F(ToolTest, HelpThatCannotBeWrittenIsAnError) {
  const pid_t pid = start_process([this] {
    redirect(STDOUT_FILENO, "/dev/full");
    redirect(STDERR_FILENO, home_ + "/errors");
    return become_tool({"--help"});
  });
  EXPECT_EQ(end_of(pid), 1);
  EXPECT_EQ(read_file(home_ + "/errors"), "tcapi: standard output: No space left on device\n");
}

// "tcapi watch" with its two outputs on pipes.
class Watch {
 public:
  template <typename Start>
  explicit Watch(const Start& become_watch) {
    EXPECT_EQ(pipe2(out_, O_CLOEXEC), 0);
    EXPECT_EQ(pipe2(err_, O_CLOEXEC), 0);
    pid_ = start_process([&] {
      signal(SIGINT, SIG_DFL);  // a shell starts its background programs with it ignored
      dup2(out_[1], STDOUT_FILENO);
      dup2(err_[1], STDERR_FILENO);
      return become_watch();
    });
  }
  ~Watch() {
    kill(pid_, SIGINT);
    EXPECT_EQ(end_of(pid_), -SIGINT);
    for (const int fd : {out_[0], out_[1], err_[0], err_[1]}) close(fd);
  }
  Watch(const Watch&) = delete;
  Watch& operator=(const Watch&) = delete;

  std::string line() { return line_of(out_[0]); }
  std::string message() { return line_of(err_[0]); }

 private:
  static std::string line_of(int fd) {
    std::string line;
    pollfd wait = {fd, POLLIN, 0};
    for (char c = 0; c != '\n'; line += c) {
      if (poll(&wait, 1, int{kPatience_s} * 1000) != 1) return line + "<nothing more>";
      if (read(fd, &c, 1) != 1) return line + "<end>";
    }
    return line;
  }

  int out_[2];
  int err_[2];
  pid_t pid_;
};

TEST_F(ToolTest, WatchPrintsEachChangeOfOtherProcesses) {
  tcapi_set("n", "a", "1");
  tcapi_set("n", "b", "1");
  tcapi_save();
  Watch watch([] { return become_tool({"watch"}); });
  ASSERT_EQ(watch.message(), "tcapi: watching " + folder_ + "\n");
  tcapi_set("n", "a", "2");
  ASSERT_EQ(watch.line(), "n a=2\n");
  tcapi_set("m", "new", "x\ny");
  ASSERT_EQ(watch.line(), "m new=x\\ny\n");
  tcapi_set("m", "new", "x\ny");
  tcapi_set("n", "b", "");
  ASSERT_EQ(watch.line(), "n b=\n");
  cut_power();
  EXPECT_EQ(tool({"get", "n", "a"}).out, "1\n");
  ASSERT_EQ(watch.line(), "n a=1\n");
  ASSERT_EQ(watch.line(), "n b=1\n");
}

TEST_F(ToolTest, WatchGoesOnWhileTheStoreIsRefusedAndTellsWhatChangedMeanwhile) {
  tcapi_set("n", "a", "1");
  tcapi_save();
  Watch watch([] { return become_tool({"watch"}); });
  ASSERT_EQ(watch.message(), "tcapi: watching " + folder_ + "\n");
  ASSERT_EQ(tcapi_set("n", "a", "1"), 0);
  write_file(level(), "torn");
  errors_of([] { EXPECT_NE(tcapi_set("n", "a", "2"), 0); });
  cut_power();
  write_file(flash(), "# tcapi store 1\n[n]\na=3\n# end\n");
  ASSERT_EQ(tool({"set", "n", "b", "new"}).status, 0);
  ASSERT_EQ(watch.line(), "n a=3\n");
  ASSERT_EQ(watch.line(), "n b=new\n");
}

TEST_F(ToolTest, WatchEndsWhenItsOutputCannotBeWritten) {
  tcapi_set("n", "a", "1");
  int err[2];
  ASSERT_EQ(pipe2(err, O_CLOEXEC), 0);
  const pid_t pid = start_process([&] {
    redirect(STDOUT_FILENO, "/dev/full");
    dup2(err[1], STDERR_FILENO);
    return become_tool({"watch"});
  });
  char first = 0;
  ASSERT_EQ(read(err[0], &first, 1), 1);  // it watches
  ASSERT_EQ(tcapi_set("n", "a", "2"), 0);
  EXPECT_EQ(end_of(pid), 1);
  close(err[0]);
  close(err[1]);
}

}  // namespace
