// The gateway around a fuzz target, lean enough for thousands of inputs a second: a configuration store in memory that
// takes down every write, a clock that stands still, a name look-up that always answers, files in a scratch folder, and
// a socket pair for each connection. The log is on and goes nowhere, so that every log text is made.
//
// The timer service does not run: to arm a back-off fails here, as it does on a gateway that is out of timers.
#ifndef NUVEK_TESTS_FUZZ_GATEWAY_H
#define NUVEK_TESTS_FUZZ_GATEWAY_H

#include <string>
#include <string_view>
#include <vector>

#include "agent/base/records.h"
#include "tests/fuzz/scratch.h"

namespace fuzz {

// A connected pair of stream sockets. The agent has one end and closes it; the other end is the target's.
class Connection {
 public:
  Connection();
  ~Connection();
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  int agent_end() const { return agent_end_; }
  void send_all(std::string_view bytes) const;  // to the agent, and nothing after it
  std::string take_received();                  // all that the agent has sent since the last call
  bool is_closed();                             // whether the agent has closed its end; after take_received()

 private:
  int agent_end_;
  int target_end_;
  bool closed_ = false;
};

struct StoreWrite {
  std::string node;
  std::string attr;
  std::string value;
};

// Whether a location's value, empty for its default, is sent as a JSON number: digits, and a point between digits,
// short enough not to be cut.
bool is_sent_as_number(const std::string& value);

// Whether a text names one of the numbers: the first such name in a message, wherever it stands, is taken for the
// number's, and the quotes behind it are blanked.
bool names_a_number(const std::string& value);

// Whether the request, when it was sent whole, carries JSON; in strings every byte counts, and a backslash with the
// next.
bool carries_json(const std::string& request);

// One gateway for one input: registered, with both locations, connected to the platform, both tests waiting for their
// answers. Its end checks that no descriptor was lost.
class Gateway {
 public:
  Gateway();
  ~Gateway();
  Gateway(const Gateway&) = delete;
  Gateway& operator=(const Gateway&) = delete;

  Connection platform;
  std::vector<StoreWrite> writes;
  std::vector<std::string> commits;
  int saves = 0;

  void erase(const char* node, const char* attr);  // makes an attribute's value empty, without taking it down
  void put(const char* node, const char* attr, const char* value);  // makes it that, without taking it down
  const Scratch& files() const;                                     // the site's root folder

  // What every message of the platform must leave behind: a device record changed in its two fields alone, writes to
  // no other attributes than the handlers', a key file within its size.
  void check_after_messages() const;

 private:
  int first_free_descriptor_;
  DevInfo devinfo_before_;
};

}  // namespace fuzz

#endif
