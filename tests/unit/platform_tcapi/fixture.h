// A store in a temporary folder of its own for each test, other processes, and the tool as a process.
#ifndef NUVEK_TESTS_PLATFORM_TCAPI_FIXTURE_H
#define NUVEK_TESTS_PLATFORM_TCAPI_FIXTURE_H

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "platform/tcapi.h"

inline std::string read_file(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

inline void write_file(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
}

// The value of an attribute, or "<none>".
inline std::string get(const std::string& node, const std::string& attr) {
  char value[TCAPI_VALUE_MAX + 1];
  return tcapi_get(node.c_str(), attr.c_str(), value) == 0 ? value : "<none>";
}

// Longer than anything here takes, also under emulation: a process that waits in vain is killed.
constexpr unsigned kPatience_s = 20;

// Starts another process, which ends with the status that the function returns.
template <typename Body>
pid_t start_process(const Body& body) {
  fflush(nullptr);
  const pid_t pid = fork();
  if (pid == 0) {
    alarm(kPatience_s);
    _exit(body());
  }
  return pid;
}

// Waits for the end of a process: its exit status, or minus the signal that ended it.
inline int end_of(pid_t pid) {
  int status = 0;
  while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

struct ToolRun {
  int status;
  std::string out;
  std::string err;
};

class StoreTest : public testing::Test {
 protected:
  void SetUp() override {
    std::string name = (std::filesystem::temp_directory_path() / "tcapi-test-XXXXXX").string();
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    home_ = name;
    use_folder(home_ + "/store");
    std::filesystem::create_directory(folder_);
  }

  void TearDown() override { std::filesystem::remove_all(home_); }

  void use_folder(const std::string& folder) {
    folder_ = folder;
    setenv("TCAPI_STORE", folder_.c_str(), 1);
  }

  std::string flash() const { return folder_ + "/flash"; }
  std::string level() const { return folder_ + "/live/level"; }

  void cut_power() const { std::filesystem::remove_all(folder_ + "/live"); }

  // Replaces this process by the tool; for a process of its own.
  static int become_tool(const std::vector<std::string>& words) {
    std::vector<std::string> command;
    std::istringstream runner(TCAPI_TOOL_RUNNER);
    for (std::string word; runner >> word;) command.push_back(word);
    command.emplace_back(TCAPI_TOOL);
    command.insert(command.end(), words.begin(), words.end());
    std::vector<char*> arguments;
    for (std::string& word : command) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    execvp(arguments[0], arguments.data());
    perror(arguments[0]);
    return 127;
  }

  static void redirect(int fd, const std::string& path) {
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    dup2(file, fd);
  }

  ToolRun tool(const std::vector<std::string>& words) const {
    const std::string out = home_ + "/out";
    const std::string err = home_ + "/err";
    const int status = end_of(start_process([&] {
      redirect(STDOUT_FILENO, out);
      redirect(STDERR_FILENO, err);
      return become_tool(words);
    }));
    return {status, read_file(out), read_file(err)};
  }

  // What this process writes to standard error meanwhile.
  static std::string errors_of(const std::function<void()>& body) {
    testing::internal::CaptureStderr();
    body();
    return testing::internal::GetCapturedStderr();
  }

  std::string home_;    // the test's temporary folder
  std::string folder_;  // the store's
};

#endif
