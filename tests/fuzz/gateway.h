// The gateway around a fuzz target, lean enough for thousands of inputs a second: tests/gateway_world in the target's
// own process, a name look-up that always answers, files in a scratch folder, and a socket pair for each connection.
// The log is on and goes nowhere, so that every log text is made.
#ifndef NUVEK_TESTS_FUZZ_GATEWAY_H
#define NUVEK_TESTS_FUZZ_GATEWAY_H

#include <string>
#include <vector>

#include "agent/base/records.h"
#include "tests/fuzz/connection.h"
#include "tests/fuzz/scratch.h"
#include "tests/gateway_world/step.h"

namespace fuzz {

struct StoreWrite {
  std::string node;
  std::string attr;
  std::string value;
};

// What an agent that has not begun finds: a store with some tables, and nobody to connect to. Takes down what is
// written. Its end checks that no descriptor was lost.
class Surroundings {
 public:
  Surroundings();
  virtual ~Surroundings();
  Surroundings(const Surroundings&) = delete;
  Surroundings& operator=(const Surroundings&) = delete;

  std::vector<StoreWrite> writes;
  std::vector<std::string> commits;
  std::vector<std::string> commands;  // that the shell was given
  int saves = 0;
  int client = -1;  // the connection that the next accept() gives to the agent

  static void put(const char* node, const char* attr, const char* value);  // without taking it down
  static const Scratch& files();                                           // the site's root folder

 protected:
  // What comes of a call of the agent's: step::stop() and step::pass() tell it.
  virtual step::Answer answer(const std::string& where);
  static step::Answer value(int number);

 private:
  void note(const std::string& where);

  int open_descriptors_;
};

// One gateway for one input: registered, with both locations, connected to the platform, both tests waiting for their
// answers. The timer service does not run: to arm a back-off fails, as it does on a gateway that is out of timers.
class Gateway : public Surroundings {
 public:
  Gateway();
  ~Gateway() override;

  Connection platform;

  // What every message of the platform must leave behind: a device record changed in its two fields alone, writes to
  // no other attributes than the handlers', a key file within its size.
  void check_after_messages() const;

 private:
  DevInfo devinfo_before_;
};

}  // namespace fuzz

#endif
