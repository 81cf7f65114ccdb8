// Owns lock step: one thread of the agent runs, and only as long as the test lets it. A thread that comes to a wait
// says so and stands still until it is told to go on.
//
// On a thread's channel, one message each way for every stop:
//   from the agent   what it waits in: "begin", "select FD... within US", "sleep US", "connect FD ADDRESS:PORT", "recv
//   FD",
//                    "send FD", "lookup NAME", "system COMMAND", "lock", "break LINE"
//   from the test    three lines: what is to come of it, "go" or a verb of its own with a value ("errno EINTR", "value
//   0",
//                    "short 10", "address 127.0.0.1", "none"); what must have arrived before the thread goes on,
//                    "FD:BYTES:END" each; and the beginning of the line at which the thread is to stop next ("break"),
//                    wait or no wait
#ifndef NUVEK_TESTS_GATEWAY_WORLD_STEP_H
#define NUVEK_TESTS_GATEWAY_WORLD_STEP_H

#include <functional>
#include <string>

namespace step {

struct Answer {
  char verb[16];
  char value[64];
  bool is(const char* wanted) const;
  int number() const;
  int error() const;  // the value as the name of an error, whose numbers differ between machines
};

void begin();

// The test is in this process: `player` is told each stop, and each call that could be one, and answers. Null ends it.
void begin_here(std::function<Answer(const std::string& where)> player);
bool is_here();

// Stands still until the test lets this thread go on. Keeps errno.
Answer stop(const std::string& where);

// A call that does not wait: stops only when the test asked this thread to stop there. "go" when it did not.
Answer pass(const std::string& line);

// The thread with this number may begin; the caller waits until it stands at its first stop.
int new_thread();
void announce_thread(int number);
void await_thread(int number);

// The test's end of this connection is closed for good: whatever is sent there is refused, once the refusal has come
// back.
void await_refusal(int fd);
void forget_connection(int fd);

}  // namespace step

#endif
