// The clients of the local port in a dialogue: each sends what it has and nothing more, and is served in its turn.
#ifndef NUVEK_TESTS_FUZZ_DIALOGUE_CLIENTS_H
#define NUVEK_TESTS_FUZZ_DIALOGUE_CLIENTS_H

#include <deque>
#include <memory>
#include <string>

#include "tests/fuzz/connection.h"

namespace fuzz {

class DialogueClients {
 public:
  DialogueClients() = default;
  ~DialogueClients();
  DialogueClients(const DialogueClients&) = delete;
  DialogueClients& operator=(const DialogueClients&) = delete;

  int listening() const { return listening_.agent_end(); }  // readable when one waits
  void post(const std::string& bytes);
  int accept();           // the agent's end of the one that waits longest
  void check_answered();  // each that was accepted: with a result and an identifier, or not at all, and closed

 private:
  Connection listening_;
  std::deque<std::unique_ptr<Connection>> waiting_;
  std::deque<std::unique_ptr<Connection>> served_;
};

}  // namespace fuzz

#endif
