// What pidof left in the pid file, or that it left none, through the question whether the trace-route still runs: it is
// asked once, the file is gone afterwards, and a result goes out exactly when no process was named.
#include <algorithm>
#include <optional>

#include "agent/base/process.h"
#include "agent/tasks/schedule.h"
#include "agent/tasks/task.h"
#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/gateway.h"

namespace {

constexpr char kPidFile[] = "/tmp/app_check.pid";

// A gateway whose trace-route waits for its end. pidof writes the bytes, or there is no place for them.
class TracingGateway : public fuzz::Gateway {
 public:
  explicit TracingGateway(std::optional<std::string_view> pids) : pids_(pids) {
    nuvekTask.speedState = kTaskReported;
    files().remove(kPidFile);
  }

 private:
  step::Answer answer(const std::string& where) override {
    if (where.compare(0, 7, "system ") == 0 && pids_) files().write(kPidFile, *pids_);
    return Gateway::answer(where);
  }

  std::optional<std::string_view> pids_;
};

// The number that the first five characters of the first line begin with, told a second time.
int32_t first_number(std::string_view pids) {
  constexpr size_t kDigitsRead = 5;
  constexpr std::string_view kSpaces = "\t\v\f\r";  // a blank ends the text, a line end the line
  std::string_view text = pids.substr(0, kDigitsRead);
  text = text.substr(0, text.find_first_of(std::string_view("\0\n ", 3)));
  text.remove_prefix(std::min(text.find_first_not_of(kSpaces), text.size()));
  const bool is_negative = !text.empty() && text[0] == '-';
  if (!text.empty() && (text[0] == '-' || text[0] == '+')) text.remove_prefix(1);
  int32_t number = 0;
  for (; !text.empty() && text[0] >= '0' && text[0] <= '9'; text.remove_prefix(1))
    number = number * 10 + (text[0] - '0');
  return is_negative ? -number : number;
}

void check_left_nothing(const fuzz::Gateway& gateway, size_t questions) {
  FUZZ_CHECK(!fuzz::Gateway::files().read(kPidFile));
  FUZZ_CHECK(gateway.commands.size() == questions);
  FUZZ_CHECK(gateway.commands.back() == "pidof traceroute > " + fuzz::Gateway::files().path() + kPidFile);
}

void check(std::optional<std::string_view> pids) {
  TracingGateway gateway(pids);
  const int32_t expected = pids ? first_number(*pids) : -1;
  FUZZ_CHECK(nuvek_app_running("traceroute") == expected);
  check_left_nothing(gateway, 1);

  nuvek_task_report(&g_devinfo, &g_server_Arg);
  check_left_nothing(gateway, 2);
  FUZZ_CHECK(gateway.platform.take_received().empty() == (expected > 0));
  FUZZ_CHECK((nuvekTask.traceState == kTaskReported) == (expected <= 0));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  check(fuzz::bytes_of(data, size));
  if (size == 0) check(std::nullopt);
  return 0;
}
