// The platform of a dialogue, and what it requires of the messages that it gets.
#ifndef NUVEK_TESTS_FUZZ_DIALOGUE_PLATFORM_H
#define NUVEK_TESTS_FUZZ_DIALOGUE_PLATFORM_H

#include <memory>
#include <string>

#include "agent/base/records.h"
#include "tests/fuzz/connection.h"

namespace fuzz {

class DialoguePlatform {
 public:
  int connect();  // returns the agent's end of a new connection
  void answer(const std::string& objects);
  void send(const std::string& bytes);
  void close();

  // The agent is about to send: what it has to tell decides whether that has to be JSON.
  void expect_message(const DevInfo& devinfo);
  void take_last_message();

  size_t messages() const { return messages_; }
  size_t reports() const { return reports_; }
  size_t acknowledgements() const { return acknowledgements_; }  // at most

 private:
  void note_sent(const std::string& bytes, bool harmless);
  void check_message(const std::string& message);

  std::unique_ptr<Connection> connection_;
  size_t messages_ = 0;
  size_t reports_ = 0;
  size_t acknowledgements_ = 0;
  bool said_harmless_ = true;     // all that was sent may stand in an answer to it
  bool keeps_structure_ = false;  // of what the agent has to tell just now
  bool is_harmless_ = false;
  std::string ids_[2];  // of the last message, and of the one before
};

}  // namespace fuzz

#endif
