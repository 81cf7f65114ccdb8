// One RPC object's text through the reading of its envelope and, as it came out, to the handler of its method.
#include <algorithm>

#include "agent/rpc/dispatch_steps.h"
#include "agent/rpc/response_steps.h"
#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/gateway.h"

namespace {

// A field holds nothing but a piece of the message, within its size.
template <size_t Size>
void check_field(const char (&field)[Size], std::string_view message) {
  FUZZ_CHECK(fuzz::is_terminated(field));
  FUZZ_CHECK(message.find(field) != message.npos);
}

void check_record(const RecvData& record, std::string_view message) {
  FUZZ_CHECK(std::all_of(std::begin(record.unused), std::end(record.unused), [](char c) { return c == '\0'; }));
  check_field(record.RegID, message);
  check_field(record.RPCMethod, message);
  check_field(record.ObjectPath, message);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const fuzz::Text message(fuzz::bytes_of(data, size));
  fuzz::Gateway gateway;
  RecvData record{};
  FUZZ_CHECK(nuvek_JsonTOstring(message.c_str(), &record) == 1);
  check_record(record, message.c_str());
  FUZZ_CHECK(nuvek_handle_message(&g_devinfo, &g_server_Arg, &record) == 0);

  // A message never closes the connection that it came on: that is the framing's business.
  const std::string request = gateway.platform.take_received();
  FUZZ_CHECK(!gateway.platform.is_closed() && g_server_Arg.fd == gateway.platform.agent_end());
  const std::string_view method = record.RPCMethod;
  FUZZ_CHECK((method == "Get") == (request.compare(0, 21, "POST /reg/ HTTP/1.1\r\n") == 0));
  const bool writes = method == "ResultResponse" || (method == "Inform0Response" && record.RegID[0] != '\0');
  FUZZ_CHECK(writes == !gateway.writes.empty());
  gateway.check_after_messages();
  return 0;
}
