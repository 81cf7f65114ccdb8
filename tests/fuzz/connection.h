// A connected pair of stream sockets. The agent has one end and closes it; the other end is the target's.
#ifndef NUVEK_TESTS_FUZZ_CONNECTION_H
#define NUVEK_TESTS_FUZZ_CONNECTION_H

#include <string>
#include <string_view>

namespace fuzz {

class Connection {
 public:
  Connection();
  ~Connection();
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  int agent_end() const { return agent_end_; }
  void send(std::string_view bytes) const;      // to the agent, as far as there is room
  void send_all(std::string_view bytes) const;  // and nothing after it
  std::string take_received();                  // all that the agent has sent since the last call
  bool is_closed();                             // whether the agent has closed its end; after take_received()

 private:
  int agent_end_;
  int target_end_;
  bool closed_ = false;
};

}  // namespace fuzz

#endif
