#include "tests/fuzz/dialogue_clients.h"

#include <unistd.h>

#include "tests/fuzz/fuzz.h"

namespace fuzz {

DialogueClients::~DialogueClients() {
  for (const auto& client : waiting_) close(client->agent_end());
  close(listening());
}

void DialogueClients::post(const std::string& bytes) {
  constexpr size_t kMostWaiting = 5;
  if (waiting_.size() == kMostWaiting) return;
  waiting_.push_back(std::make_unique<Connection>());
  waiting_.back()->send_all(bytes);
  listening_.send("c");
}

int DialogueClients::accept() {
  char byte = 0;
  FUZZ_CHECK(!waiting_.empty() && read(listening(), &byte, 1) == 1);
  served_.push_back(std::move(waiting_.front()));
  waiting_.pop_front();
  return served_.back()->agent_end();
}

void DialogueClients::check_answered() {
  for (; !served_.empty(); served_.pop_front()) {
    const std::string answer = served_.front()->take_received();
    FUZZ_CHECK(served_.front()->is_closed());
    if (answer.empty()) continue;
    FUZZ_CHECK(answer.compare(0, 16, "{\"Result\":0,\"ID\"") == 0 ||
               answer.compare(0, 17, "{\"Result\":-3,\"ID\"") == 0);
  }
}

}  // namespace fuzz
