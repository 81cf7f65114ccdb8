// The speed-test program's seven result files, through the result object and the whole message. The input holds them
// one after the other with a bar between; a file whose turn does not come is absent.
#include "agent/base/counters.h"
#include "agent/tasks/speed_test.h"
#include "platform/mjson.h"
#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/gateway.h"
#include "tests/fuzz/message_rules.h"

namespace {

constexpr const char* kFiles[] = {
    "/var/httpSpeed",
    "/var/httpURL",
    "/var/httpDIP",
    "/var/speed_ErrorCode",
    "/var/speed_DNSErrorCode",
    "/var/speed_NETErrorCode",
    "/var/speed_HTTPErrorCode",
};

// Writes the files. Returns whether the first one, the speed table, has a text.
bool write_files(const fuzz::Scratch& files, std::string_view input) {
  const bool has_table = !input.empty() && input.front() != '|' && input.front() != '\0';
  bool is_there = true;
  for (const char* file : kFiles) {
    if (!is_there) {
      files.remove(file);
      continue;
    }
    const size_t bar = input.find('|');
    files.write(file, input.substr(0, bar));
    is_there = bar != input.npos;
    if (is_there) input.remove_prefix(bar + 1);
  }
  return has_table;
}

void check_counted(bool has_table, uint32_t times) {
  FUZZ_CHECK(g_CntNum.SuccessTask == (has_table ? times : 0));
  FUZZ_CHECK(g_CntNum.FailTask == (has_table ? 0 : times));
}

void check_result() {
  const json::Text text = nuvek_speed_result().text();
  FUZZ_CHECK(text != nullptr);
  static constexpr char kHead[] = "{\"NUVEK\":{\"SiteSpeedResult\":{\"DestUrl\":\"";
  FUZZ_CHECK(strncmp(text.get(), kHead, strlen(kHead)) == 0);
}

void check_message(fuzz::Gateway& gateway) {
  nuvek_speed_test_Report(&g_devinfo, &g_server_Arg);
  const std::string request = gateway.platform.take_received();
  FUZZ_CHECK(request.compare(0, 21, "POST /reg/ HTTP/1.1\r\n") == 0);
  FUZZ_CHECK(request.size() <= fuzz::kRequestCharacters);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Gateway gateway;
  const bool has_table = write_files(gateway.files(), fuzz::bytes_of(data, size));
  check_result();
  check_counted(has_table, 1);
  check_message(gateway);
  check_counted(has_table, 2);
  return 0;
}
