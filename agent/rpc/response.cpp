#include "agent/rpc/response.h"

#include <cstring>

#include "agent/base/log.h"
#include "agent/base/text.h"
#include "agent/json/json_value.h"
#include "agent/rpc/dispatch.h"
#include "agent/rpc/response_steps.h"

namespace {

constexpr char kOk[] = "HTTP/1.1 200 OK";
constexpr char kOkLine[] = "HTTP/1.1 200 OK\r\n";
constexpr char kContentLength[] = "Content-Length:";
constexpr ptrdiff_t kMostLengthDigits = 16;
constexpr size_t kShortestPiece = 6;  // comma, brace and four characters; shorter is the end of the array

bool has_fitting_length(const char* text) {
  const size_t length = strlen(text);
  return length >= 1 && length <= kLongestBlock;
}

int refuse() {
  nuvek_closeServer();
  return -1;
}

enum class Framing { good, bad, long_digits };

// Reads the content length of a response; 0 when its line has no end.
Framing read_content_length(const char* response, int32_t* value) {
  char digits[kMostLengthDigits + 1] = "";
  const char* start = strstr(response, kContentLength);
  if (start == nullptr) return Framing::bad;
  start += strlen(kContentLength);
  if (*start == ' ') ++start;
  if (const char* end = strstr(start, "\r\n")) {
    if (end - start > kMostLengthDigits) return Framing::long_digits;
    memcpy(digits, start, static_cast<size_t>(end - start));
  }
  *value = text::to_int32(digits);
  return Framing::good;
}

// The body's array, from the first "[" of the response on; null unless it is as long as the head says. Both brackets
// are searched in the whole response.
char* find_array(char* response, int32_t content_length) {
  char* opening = strchr(response, '[');
  const char* closing = strchr(response, ']');
  if (opening == nullptr || closing == nullptr || closing - opening + 1 != content_length) return nullptr;
  return opening;
}

// Ends a text early for the length of a scope; what stood there comes back.
class Ending {
 public:
  explicit Ending(char* at) : at_(at), kept_(*at) { *at = '\0'; }
  ~Ending() { *at_ = kept_; }
  Ending(const Ending&) = delete;
  Ending& operator=(const Ending&) = delete;

 private:
  char* at_;
  char kept_;
};

void dispatch_object(const char* object, DevInfo* devinfo, ServerArg* server) {
  NUVEK_DEBUG_AS("nuvek_parse_RecvDataSingle", "json_str:%s", object);
  RecvData record{};
  nuvek_JsonTOstring(object, &record);
  nuvek_handle_message(devinfo, server, &record);
}

// Objects are flat: each ends at its first "}", and its first character is the comma before it. The last one gets its
// brace here when it has none.
void dispatch_objects(char* piece, DevInfo* devinfo, ServerArg* server) {
  for (bool last = false; !last;) {
    piece += strspn(piece, "}");
    const size_t length = strcspn(piece, "}");
    if (length < kShortestPiece) return;
    char* brace = piece + length;
    last = *brace == '\0';
    {
      const Ending after(brace + 1);
      *brace = '}';
      dispatch_object(piece + 1, devinfo, server);
    }
    if (last) *brace = '\0';
    piece = brace;
  }
}

}  // namespace

int nuvek_serverProcess(const Connection& connection, DevInfo* devinfo, ServerArg* server) {
  char block[kReceiveSize + kBlockRoom];
  const ssize_t received = connection.receive(block, kReceiveSize);
  block[received > 0 ? received : 0] = '\0';
  if (received == 0) {
    NUVEK_ERROR("server closed fd");
    return refuse();
  }
  if (received < 0) NUVEK_DEBUG("errno: %d", static_cast<int>(received));
  NUVEK_DEBUG("recv:%d byte data.... ", static_cast<int>(received));
  NUVEK_DEBUG("recv_buf:%s ", block);
  return nuvek_parse_RecvData(block, devinfo, server);
}

int nuvek_parse_RecvData(char* block, DevInfo* devinfo, ServerArg* server) {
  if (!has_fitting_length(block)) {
    NUVEK_ERROR("input data is null or buff max");
    return -1;
  }
  char* start = strstr(block, kOkLine);
  while (start != nullptr) {
    char* next = strstr(start + strlen(kOkLine), kOkLine);
    {
      const Ending end(next == nullptr ? start + strlen(start) : next);
      nuvek_parse_RecvDataSingle(start, devinfo, server);
    }
    nuvek_closeServer();
    start = next;
  }
  if (strstr(block, "HTTP/1.1 404") != nullptr) {
    NUVEK_ERROR("404 Not Found");
    return refuse();
  }
  NUVEK_DEBUG("Exit");
  return 0;
}

int nuvek_parse_RecvDataSingle(char* response, DevInfo* devinfo, ServerArg* server) {
  if (!has_fitting_length(response)) {
    NUVEK_ERROR("input data is null");
    return refuse();
  }
  NUVEK_DEBUG("RecvData:%s", response);
  if (strstr(response, kOk) == nullptr) return 0;

  int32_t content_length = 0;
  const Framing framing = read_content_length(response, &content_length);
  if (framing == Framing::long_digits) NUVEK_ERROR("error packet");
  if (framing != Framing::good) return refuse();
  NUVEK_DEBUG("Content-Length:%d", content_length);
  if (content_length == 0) {
    NUVEK_ERROR("Content-Length:0");
    nuvek_closeServer();
    return 0;
  }
  char* array = find_array(response, content_length);
  if (array == nullptr) return refuse();
  char* first_comma = strchr(array, ',');  // the array's first element ends here: the agent's own identifier
  if (first_comma == nullptr) return refuse();
  dispatch_objects(first_comma, devinfo, server);
  NUVEK_DEBUG("Exit");
  return 0;
}

int nuvek_JsonTOstring(const char* json, RecvData* record) {
  if (json == nullptr) return 0;
  char id[16] = "";
  char code[16] = "";
  const json::Document object(json);
  object.copy("RPCMethod", record->RPCMethod);
  object.copy("ObjectPath", record->ObjectPath);
  object.copy("RegID", record->RegID);
  object.copy("ID", id);
  object.copy("Code", code);
  record->ID = text::to_int32(id);
  record->Code = text::to_int32(code);
  NUVEK_DEBUG("outParm->RPCMethod:%s", record->RPCMethod);
  NUVEK_DEBUG("outParm->ObjectPath:%s", record->ObjectPath);
  NUVEK_DEBUG("outParm->RegID:%s", record->RegID);
  NUVEK_DEBUG("outParm->ID:%d", record->ID);
  NUVEK_DEBUG("outParm->Code:%d", record->Code);
  return 1;
}
