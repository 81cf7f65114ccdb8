#include "agent/rpc/response.h"

#include <sys/socket.h>

#include <cstdio>
#include <cstring>

#include "agent/base/log.h"
#include "agent/base/text.h"
#include "agent/json/json_value.h"
#include "agent/link/server.h"
#include "agent/rpc/dispatch.h"

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
const char* find_array(const char* response, int32_t content_length) {
  const char* opening = strchr(response, '[');
  const char* closing = strchr(response, ']');
  if (opening == nullptr || closing == nullptr || closing - opening + 1 != content_length) return nullptr;
  return opening;
}

void dispatch_object(const char* object, DevInfo* devinfo, ServerArg* server) {
  NUVEK_DEBUG_AS("nuvek_parse_RecvDataSingle", "json_str:%s", object);
  RecvData record{};
  nuvek_JsonTOstring(object, &record);
  nuvek_handle_message(devinfo, server, &record);
}

// Objects are flat: each ends at its first "}", and its first character is the comma before it.
void dispatch_objects(char* pieces, DevInfo* devinfo, ServerArg* server) {
  char* rest = nullptr;
  for (const char* piece = strtok_r(pieces, "}", &rest); piece != nullptr; piece = strtok_r(nullptr, "}", &rest)) {
    if (strlen(piece) < kShortestPiece) return;
    char object[kLongestBlock + 2];
    snprintf(object, sizeof object, "%s}", piece + 1);
    dispatch_object(object, devinfo, server);
  }
}

}  // namespace

int nuvek_serverProcess(int fd, DevInfo* devinfo, ServerArg* server) {
  char block[kReceiveSize + 1] = "";
  const ssize_t received = recv(fd, block, kReceiveSize, 0);
  if (received == 0) {
    NUVEK_ERROR("server closed fd");
    return refuse();
  }
  if (received < 0) NUVEK_DEBUG("errno: %d", static_cast<int>(received));
  NUVEK_DEBUG("recv:%d byte data.... ", static_cast<int>(received));
  NUVEK_DEBUG("recv_buf:%s ", block);
  return nuvek_parse_RecvData(block, devinfo, server);
}

int nuvek_parse_RecvData(const char* block, DevInfo* devinfo, ServerArg* server) {
  if (!has_fitting_length(block)) {
    NUVEK_ERROR("input data is null or buff max");
    return -1;
  }
  const char* start = strstr(block, kOkLine);
  while (start != nullptr) {
    const char* next = strstr(start + strlen(kOkLine), kOkLine);
    const size_t length = next == nullptr ? strlen(start) : static_cast<size_t>(next - start);
    char response[kLongestBlock + 1];
    memcpy(response, start, length);
    response[length] = '\0';
    nuvek_parse_RecvDataSingle(response, devinfo, server);
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

int nuvek_parse_RecvDataSingle(const char* response, DevInfo* devinfo, ServerArg* server) {
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
  const char* array = find_array(response, content_length);
  if (array == nullptr) return refuse();
  char body[kLongestBlock + 1];
  text::copy(body, array);
  char* first_comma = strchr(body, ',');  // the array's first element ends here: the agent's own identifier
  if (first_comma == nullptr) return refuse();
  dispatch_objects(first_comma, devinfo, server);
  NUVEK_DEBUG("Exit");
  return 0;
}

int nuvek_JsonTOstring(const char* json, RecvData* record) {
  if (json == nullptr) return 0;
  char id[16] = "";
  char code[16] = "";
  const json::Tree object = json::parse(json);
  json::copy_value(object, "RPCMethod", record->RPCMethod);
  json::copy_value(object, "ObjectPath", record->ObjectPath);
  json::copy_value(object, "RegID", record->RegID);
  json::copy_value(object, "ID", id);
  json::copy_value(object, "Code", code);
  record->ID = text::to_int32(id);
  record->Code = text::to_int32(code);
  NUVEK_DEBUG("outParm->RPCMethod:%s", record->RPCMethod);
  NUVEK_DEBUG("outParm->ObjectPath:%s", record->ObjectPath);
  NUVEK_DEBUG("outParm->RegID:%s", record->RegID);
  NUVEK_DEBUG("outParm->ID:%d", record->ID);
  NUVEK_DEBUG("outParm->Code:%d", record->Code);
  return 1;
}
