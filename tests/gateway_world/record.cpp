#include "record.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>

#include "control.h"
#include "faults.h"
#include "step.h"

namespace {

constexpr int kAbove = 200;  // the descriptors that the agent gets keep the numbers that they have without a record

// A file that is only appended to.
class Journal {
 public:
  explicit Journal(const char* name) {
    const int fd = open(control::file(name).c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
    fd_ = fcntl(fd, F_DUPFD_CLOEXEC, kAbove);
    close(fd);
  }
  void append(const std::string& text) const {
    if (write(fd_, text.data(), text.size()) != static_cast<ssize_t>(text.size())) _exit(125);
  }

 private:
  int fd_;
};

}  // namespace

void record(const std::string& line) {
  if (step::is_here()) return;  // it has been told
  const int error = errno;
  const faults::Aside aside;
  static const Journal journal("record");
  journal.append(line + "\n");
  errno = error;
}

void record_call(const char* format, ...) {
  const faults::Aside aside;  // the line is made of allocations, too
  char line[160];
  va_list arguments;
  va_start(arguments, format);
  vsnprintf(line, sizeof line, format, arguments);
  va_end(arguments);
  record(line);
}

void record_console(const std::string& text) {
  if (step::is_here()) return;
  const faults::Aside aside;
  static const Journal console("console");
  console.append(text);
}
