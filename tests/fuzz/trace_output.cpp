// The trace-route program's output, through the table of hops and the whole result message.
#include "agent/tasks/trace_route.h"
#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/gateway.h"
#include "tests/fuzz/message_rules.h"

namespace {

void check_table() {
  // On the heap, so that a sanitizer sees the first byte written beyond it.
  const std::unique_ptr<char[]> path(new char[kTraceRowsSize]);
  memset(path.get(), 'x', kTraceRowsSize);
  nuvek_trace_parse(path.get());
  const size_t length = strnlen(path.get(), kTraceRowsSize);
  FUZZ_CHECK(length < kTraceRowsSize);
  // A table that was cut to the buffer may end anywhere, a whole one only with a row.
  const bool may_be_cut = length + 2 >= kTraceRowsSize;
  FUZZ_CHECK(length == 0 || may_be_cut || (path[0] == '[' && path[length - 1] == ']'));
}

void check_message(fuzz::Gateway& gateway) {
  nuvek_trace_test_Report(&g_devinfo, &g_server_Arg);
  const std::string request = gateway.platform.take_received();
  FUZZ_CHECK(request.compare(0, 21, "POST /reg/ HTTP/1.1\r\n") == 0);
  FUZZ_CHECK(request.size() <= fuzz::kRequestCharacters);
  FUZZ_CHECK(gateway.writes.empty());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Gateway gateway;
  gateway.files().write(kTraceOutput, fuzz::bytes_of(data, size));
  check_table();
  check_message(gateway);
  return 0;
}
