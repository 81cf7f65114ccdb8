// The console's interface, but for the event stream and the desk: takes a request, gives the answer. docs/console.md
// holds its contract.
#ifndef NUVEK_DESK_CONSOLE_API_H
#define NUVEK_DESK_CONSOLE_API_H

#include "../platform.h"
#include "http.h"

namespace desk::console {

// What does not change while the program runs.
struct About {
  std::string address;  // where the gateways connect to
  uint16_t port = 0;
  bool strict = false;
  bool desk = false;
};

class Api {
 public:
  Api(Platform& platform, About about) : platform_(platform), about_(std::move(about)) {}

  // Throws Refusal.
  Response answer(const Request& request);

  // The data of the event that a stream begins with.
  std::string hello() const;

 private:
  Response platform(const Request& request, const Target& target);
  Response gateways(const Request& request, const Target& target);
  Response gateway(const Request& request, const std::string& uuid);
  Response gets(const Request& request, const std::string& uuid);
  Response exchanges(const Request& request, const Target& target);
  Response exchange(const Request& request, const std::string& number);
  Response answers(const Request& request);
  Response one_answer(const Request& request, const std::string& number);
  Response scenario(const Request& request);

  Gateway& known(const std::string& uuid);

  Platform& platform_;
  const About about_;
};

}  // namespace desk::console

#endif
