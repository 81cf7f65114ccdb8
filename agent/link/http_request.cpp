#include "agent/link/http_request.h"

#include <algorithm>
#include <cstring>
#include <initializer_list>

#include "agent/base/log.h"
#include "agent/base/text.h"
#include "agent/link/server.h"

namespace {

// Blanks the next double quote and returns where it stood; null when there is none.
char* blank_quote(char* text) {
  char* quote = strchr(text, '"');
  if (quote != nullptr) *quote = ' ';
  return quote;
}

// Writes the whole request, "head_and_body", into `request`. Returns the length of the head without the empty line.
size_t print_request(text::Builder& request, const char* body, size_t body_length) REQUIRES(g_link_lock) {
  // The platform matches the content type byte for byte: comma, not semicolon.
  request.append(
      "POST %s HTTP/1.1\r\n"
      "Host: %s\r\n"
      "Connection: keep-alive\r\n"
      "Accept: application/json\r\n"
      "Content-Type: application/json,charset=UTF-8\r\n"
      "Content-Length: %d\r\n",
      g_server_Arg.urlPath, g_server_Arg.hostIp, static_cast<int>(body_length));
  const size_t head_length = request.length();
  request.append("\r\n%s", body);
  return head_length;
}

}  // namespace

void nuvek_unquote_value(char* text, const char* key) {
  char* found = strstr(text, key);
  if (found == nullptr) return;
  found = strchr(found, ':');
  if (found == nullptr) return;
  found = blank_quote(found);
  if (found != nullptr) blank_quote(found);
}

int nuvek_sendPostRequest(const Connection& connection, char* body) {
  NUVEK_DEBUG("Enter");
  if (connection.descriptor() < 1) {
    NUVEK_ERROR("fd error");
    return -1;
  }
  if (body[0] == '\0') {
    NUVEK_ERROR("send buffer is null");
    return -1;
  }
  for (const char* key : {"Long", "Lat", "Altitudes", "HorizontalError", "VerticalError"}) {
    nuvek_unquote_value(body, key);
  }

  const size_t body_length = strlen(body);
  char head_and_body[kRequestSize];
  text::Builder request(head_and_body);
  // Two short of the request, which has an empty line more: enough to end the loop below, since each send offers all
  // that is left.
  const size_t counted = print_request(request, body, body_length) + body_length;
  const size_t whole = counted + strlen("\r\n");
  NUVEK_DEBUG("send_msg:%s", head_and_body);

  const size_t length = request.length();
  const char* end = head_and_body + std::min(counted, length);  // of what may hold tabs, in a request that was cut too
  for (char* tab = head_and_body; (tab = strchr(tab, '\t')) != nullptr && tab < end;) *tab = ' ';
  size_t sent = 0;
  while (sent < counted && sent < length) {
    const ssize_t taken = connection.send(head_and_body + sent, length - sent);
    if (taken < 1) {
      NUVEK_ERROR("send error");
      return -1;
    }
    sent += static_cast<size_t>(taken);
  }
  if (length < whole) {  // the request was cut to the buffer: what fitted is out
    NUVEK_ERROR("send error");
    return -1;
  }
  NUVEK_DEBUG("send %d byte", static_cast<int>(sent));
  NUVEK_DEBUG("Exit");
  return 0;
}

bool ReportLink::connect() const { return g_connection.is_open() || nuvek_Link_Remoteserver() == 0; }

void ReportLink::open() const {
  text::copy(g_server_Arg.urlPath, kRequestPath);
  if (!connect()) NUVEK_ERROR_AS(operation_, "link sever error!");
}

int ReportLink::send(char* body) const {
  const int result = nuvek_sendPostRequest(g_connection, body);
  if (result != 0) NUVEK_ERROR_AS(operation_, " sendPostRequest error");
  return result;
}
