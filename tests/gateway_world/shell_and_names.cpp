// Stands in for the calls by which the agent starts programs and looks up names.
#include <netdb.h>

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <string>

#include "control.h"
#include "fast.h"
#include "faults.h"
#include "record.h"
#include "step.h"
#include "walk.h"
#include "world.h"
#include "year.h"

namespace {

constexpr char kSilence[] = "-";
constexpr timespec kLookAgain{0, 5000000};

// The address of a name as the last line of the file "names" has it ("NAME ADDRESS" on each); empty for an unknown
// name.
std::string last_address_of(const std::string& wanted) {
  std::ifstream file(control::file("names"));
  std::string last;
  for (std::string name, address; file >> name >> address;) {
    if (name == wanted) last = address;
  }
  return last;
}

// While the address is a dash, the name server says nothing.
std::string address_of(const std::string& wanted) {
  if (world::is(world::Kind::step)) {
    const step::Answer answer = step::stop("lookup " + wanted);
    return answer.is("address") ? answer.value : "";
  }
  for (;;) {
    const std::string address = last_address_of(wanted);
    if (address != kSilence) return address;
    nanosleep(&kLookAgain, nullptr);
  }
}

}  // namespace

extern "C" {

// Records the command. Runs it only when the test says so, with the test's own programs first in PATH.
int system(const char* command) {
  static const auto real = world::behind(&system, "system");
  if (world::is(world::Kind::year)) return year::system(command);
  if (world::is(world::Kind::fast)) return fast::system(command);
  if (!world::is_played()) return real(command);
  step::Answer answer{"go", ""};
  {
    const faults::Aside aside;
    const std::string line = std::string("system ") + command;
    record(line);
    if (world::is(world::Kind::step)) answer = step::stop(line);
  }
  // No process to be had, no shell in it (status 127), a program that fails.
  const int error = walk::fails(walk::kPrograms, "system", {EAGAIN, ENOMEM, 127 << 8, 1 << 8});
  if (error >= 1 << 8) return error;
  if (error != 0) errno = error;
  if (error != 0 || faults::strikes(faults::system)) return -1;
  return control::read(control::shell_runs) != 0 && !answer.is("value") ? real(command) : answer.number();
}

int getaddrinfo(const char* name, const char* service, const struct addrinfo* hints, struct addrinfo** found) {
  static const auto real = world::behind(&getaddrinfo, "getaddrinfo");
  if (!world::is_played()) return real(name, service, hints, found);
  char address[64] = "";
  {
    const faults::Aside aside;
    record(std::string("lookup ") + name);
    const std::string known = address_of(name);
    known.copy(address, sizeof address - 1);
  }
  const int error = walk::fails(walk::kNetwork, "getaddrinfo", {EAI_AGAIN, EAI_FAIL, EAI_NONAME, EAI_MEMORY});
  if (error != 0) return error;
  if (faults::strikes(faults::lookup)) return EAI_AGAIN;
  return address[0] == '\0' ? EAI_NONAME : real(address, service, hints, found);
}
}
