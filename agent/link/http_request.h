// Owns the one way to send: a finished JSON text as an HTTP/1.1 POST request (RFC 9112) on the platform connection.
#ifndef NUVEK_AGENT_LINK_HTTP_REQUEST_H
#define NUVEK_AGENT_LINK_HTTP_REQUEST_H

#include <cstddef>

#include "agent/base/records.h"
#include "agent/link/connection.h"

constexpr size_t kRequestSize = 2048;     // head and body, with a terminator
constexpr size_t kBodySize = 2048;        // of the messages that fit a request
constexpr size_t kResultBodySize = 4096;  // of a measurement result before it is cut to a request

// Sends `body` on `connection` with the path and host of g_server_Arg. Returns 0 when the whole request was handed
// over, else -1 with the reason in the log: "fd error" for a descriptor below 1, "send buffer is null" for an empty
// body, "send error" for a failed send or a request that was cut. Changes `body`: the quotes around the five location
// values become blanks, since the platform wants them as numbers.
int nuvek_sendPostRequest(const Connection& connection, char* body) REQUIRES(g_link_lock);

// Blanks the two double quotes around the value of the first place in `text` that reads `key`.
void nuvek_unquote_value(char* text, const char* key);

// The platform link for the length of one report, in the name of the operation that reports. Nobody else connects,
// sends or closes meanwhile. Not to be held while a timer is added or removed or a message is dispatched
// (docs/architecture.md, "Locks").
class SCOPED_LOCK ReportLink {
 public:
  explicit ReportLink(const char* operation) ACQUIRE(g_link_lock) : operation_(operation) { g_link_lock.lock(); }
  ~ReportLink() RELEASE() { g_link_lock.unlock(); }
  ReportLink(const ReportLink&) = delete;
  ReportLink& operator=(const ReportLink&) = delete;

  // Connects when there is no connection. Returns false when there is none afterwards.
  bool connect() const REQUIRES(g_link_lock);

  // Sets the request path and connects; a failure is logged and left for send() to meet.
  void open() const REQUIRES(g_link_lock);

  // Sends a body on the connection. Returns 0, or -1 with an error line.
  int send(char* body) const REQUIRES(g_link_lock);

 private:
  const char* operation_;
};

#endif
