// One block as the platform's socket gives it, through receiving, framing, dispatch and every handler.
#include <algorithm>

#include "agent/rpc/response_steps.h"
#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/gateway.h"

namespace {

bool holds(std::string_view text, std::string_view part) { return text.find(part) != text.npos; }

// What the framing rules say about a block, told a second time and more simply.
struct Verdict {
  bool has_answer = false;  // at least one response that may hold messages
  bool closes = false;      // the connection ends
  int result = -1;

  explicit Verdict(std::string_view sent) {
    const std::string_view received = sent.substr(0, std::min(sent.size(), kReceiveSize));
    const std::string_view block = received.substr(0, std::min(received.find('\0'), received.size()));
    if (sent.empty()) closes = true;  // the platform closed
    if (block.empty() || block.size() > kLongestBlock) return;
    const bool not_found = holds(block, "HTTP/1.1 404");
    has_answer = holds(block, "HTTP/1.1 200 OK\r\n");
    closes = has_answer || not_found;
    result = not_found ? -1 : 0;
  }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view sent = fuzz::bytes_of(data, size);
  const Verdict verdict(sent);
  fuzz::Gateway gateway;
  gateway.platform.send_all(sent);
  const int result = nuvek_serverProcess(g_connection, &g_devinfo, &g_server_Arg);

  FUZZ_CHECK(result == verdict.result);
  const std::string requests = gateway.platform.take_received();
  FUZZ_CHECK(gateway.platform.is_closed() == verdict.closes);
  FUZZ_CHECK((g_server_Arg.fd == -1) == verdict.closes);
  if (!verdict.has_answer) FUZZ_CHECK(requests.empty() && gateway.writes.empty() && gateway.saves == 0);
  FUZZ_CHECK(requests.empty() || requests.compare(0, 21, "POST /reg/ HTTP/1.1\r\n") == 0);
  gateway.check_after_messages();
  return 0;
}
