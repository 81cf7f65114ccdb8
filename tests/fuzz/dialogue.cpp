// A whole dialogue: the agent from its start on, turn by turn, with its timer, as a script has it. Whatever platform,
// clients, clock and helper programs do in whatever order, what the agent sends is JSON but for the documented ways,
// and what it sends, saves and starts is bounded by what it was sent. dialogue_script.h tells the script.
#include <sys/ioctl.h>

#include <optional>

#include "agent/base/config.h"
#include "agent/base/counters.h"
#include "agent/main/main_loop.h"
#include "agent/tasks/back_off.h"
#include "agent/timer/timer_steps.h"
#include "tests/fuzz/dialogue_clients.h"
#include "tests/fuzz/dialogue_platform.h"
#include "tests/fuzz/dialogue_script.h"
#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/gateway.h"
#include "tests/gateway_world/control.h"
#include "tests/gateway_world/faults.h"
#include "tests/gateway_world/inside.h"
#include "tests/gateway_world/walk.h"

namespace {

using fuzz::Step;

constexpr const char* kStore[][3] = {
    {"nuvek_Common", "UUID", "1e3b7c90-8d2a-11ee-8a3b-001122334455"},
    {"DeviceInfo_devParaStatic", "Manufacturer", "ACME"},
    {"DeviceInfo_devParaDynamic", "SerialNum", "ACME0042D7E1"},
    {"Info_eth0.1", "hwaddr", "02:4e:56:45:4b:01"},
};

// The files by which the helper programs tell what they found, by the number that a script names them with.
constexpr const char* kHelperFiles[] = {
    "/var/httpSpeed",
    "/var/httpURL",
    "/var/httpDIP",
    "/var/speed_ErrorCode",
    "/var/speed_DNSErrorCode",
    "/var/speed_NETErrorCode",
    "/var/speed_HTTPErrorCode",
    "/tmp/tracenuvek",
};
constexpr char kPidFile[] = "/tmp/app_check.pid";
constexpr char kTimeSync[] = "/tmp/timeSync";

// What one turn of the main loop, or one tick of the timer, may do beside what the platform's bytes ask for. A turn: a
// report and two results, or the first and the default report; each tries both domains; a look for the traceroute and
// two programs started; a location stored and a twentieth count. A tick: two results, and a look.
struct Bounds {
  size_t messages;
  int connects;
  size_t commands;
  int saves;
};
constexpr Bounds kTurn = {3, 6, 3, 2};
constexpr Bounds kTick = {2, 4, 1, 1};

// The shortest object that asks for a message, {"RPCMethod":"Get"} and its comma, has 20 bytes; the shortest that asks
// for two saves, {"RPCMethod":"Inform0Response","RegID":"x"}, has 44.
constexpr size_t kBytesOfAMessage = 20;
constexpr size_t kBytesOfASave = 22;

class Dialogue : public fuzz::Surroundings {
 public:
  explicit Dialogue(std::string_view script) : script_(script), loop_(clients_.listening()) {}

  void play();

 private:
  step::Answer answer(const std::string& where) override;
  step::Answer connect();
  step::Answer run_program(const std::string& command);

  void start();
  void play_to_the_next_tick();
  void play(const Step& step);
  void turn();
  void pass(uint32_t wall_s, uint32_t uptime_s);
  void mark_clock();
  static void write_helper_file(const Step& step);
  void refuse_store_writes();

  void begin_bounded();
  void check_bounds(const Bounds& bounds, size_t received);
  void check_over_the_whole_life() const;
  size_t waiting_bytes() const;

  fuzz::Script script_;
  fuzz::DialogueClients clients_;
  MainLoop loop_;
  fuzz::DialoguePlatform platform_;
  std::optional<std::string> pids_;  // what pidof prints; nothing when it does not run
  int program_status_ = 0;
  bool is_network_down_ = false;
  bool are_names_unknown_ = false;
  bool is_clock_set_ = true;
  bool are_writes_refused_ = false;
  bool is_over_ = false;
  size_t clock_changes_ = 0;
  size_t messages_before_ = 0;
  int connects_ = 0;
  size_t measurements_ = 0;
};

// --- what the agent meets --------------------------------------------------------------------------------------------

step::Answer Dialogue::answer(const std::string& where) {
  const std::string call = where.substr(0, where.find(' '));
  const step::Answer usual = Surroundings::answer(where);
  if (call == "sleep" && !is_over_) play_to_the_next_tick();
  if (call == "lookup" && are_names_unknown_) return {"none", ""};
  if (call == "connect") return connect();
  if (call == "accept") return value(clients_.accept());
  if (call == "send") platform_.expect_message(g_devinfo);
  if (call == "system") return run_program(commands.back());
  return usual;
}

step::Answer Dialogue::connect() {
  ++connects_;
  if (is_network_down_) return {"errno", "ECONNREFUSED"};
  return value(platform_.connect());
}

step::Answer Dialogue::run_program(const std::string& command) {
  const bool is_look = command.compare(0, 6, "pidof ") == 0;
  if (!is_look) ++measurements_;
  if (is_look && pids_) files().write(kPidFile, *pids_);
  return value(program_status_);
}

// --- the script ------------------------------------------------------------------------------------------------------

void Dialogue::start() {
  for (const char* file : kHelperFiles) files().remove(file);
  files().remove(kPidFile);
  files().remove("/usr/osgi/nuvekKeyInfo");
  files().write(kTimeSync, "");
  for (const auto& row : kStore) put(row[0], row[1], row[2]);
  FUZZ_CHECK(timer_init() == 0);
  nuvek_load_server();
  nuvek_load_devinfo(&g_devinfo);
  nuvek_load_reportFlags();
  nuvek_init_Counter();
  nuvek_set_delaySessionTime(0);
}

// The timer's thread is the outer one here: it begins, and each of its sleeps is a part of the script.
void Dialogue::play() {
  start();
  const int32_t timers_before = g_timerMallocCount - g_timerFreeCount;
  begin_bounded();
  inside::run_thread();
  check_bounds(kTick, 0);
  check_over_the_whole_life();
  FUZZ_CHECK(g_timerMallocCount - g_timerFreeCount == timers_before - 1);  // its lock has gone, too
}

void Dialogue::play_to_the_next_tick() {
  check_bounds(kTick, 0);
  for (std::optional<Step> step = script_.next(); step; step = script_.next()) {
    if (step->verb == 'k') return begin_bounded();
    play(*step);
  }
  is_over_ = true;
  timer_stop();
  begin_bounded();
}

void Dialogue::play(const Step& step) {
  static constexpr struct {
    char verb;
    void (*play)(Dialogue& dialogue, const Step& line);
  } kVerbs[] = {
      {'t', [](Dialogue& dialogue, const Step&) { dialogue.turn(); }},
      {'s', [](Dialogue& dialogue, const Step& line) { dialogue.pass(line.number, line.number); }},
      {'c', [](Dialogue& dialogue, const Step& line) { dialogue.pass(line.number, 0); }},
      {'m', [](Dialogue& dialogue, const Step&) { dialogue.mark_clock(); }},
      {'a', [](Dialogue& dialogue, const Step& line) { dialogue.platform_.answer(line.text); }},
      {'b', [](Dialogue& dialogue, const Step& line) { dialogue.platform_.send(line.text); }},
      {'x', [](Dialogue& dialogue, const Step&) { dialogue.platform_.close(); }},
      {'d', [](Dialogue& dialogue, const Step&) { dialogue.is_network_down_ = !dialogue.is_network_down_; }},
      {'n', [](Dialogue& dialogue, const Step&) { dialogue.are_names_unknown_ = !dialogue.are_names_unknown_; }},
      {'l', [](Dialogue& dialogue, const Step& line) { dialogue.clients_.post(line.text); }},
      {'h', [](Dialogue&, const Step& line) { write_helper_file(line); }},
      {'p', [](Dialogue& dialogue, const Step& line) { dialogue.pids_ = line.text; }},
      {'v', [](Dialogue& dialogue, const Step& line) { dialogue.program_status_ = static_cast<int>(line.number); }},
      {'w', [](Dialogue& dialogue, const Step&) { dialogue.refuse_store_writes(); }},
      {'e', [](Dialogue&, const Step&) { put("nuvek_Entry0", "GISInterface", ""); }},
  };
  for (const auto& row : kVerbs) {
    if (row.verb == step.verb) return row.play(*this, step);
  }
}

void Dialogue::write_helper_file(const Step& step) {
  files().write(kHelperFiles[step.number % std::size(kHelperFiles)], step.text);
}

void Dialogue::mark_clock() {
  is_clock_set_ = !is_clock_set_;
  if (is_clock_set_) return files().write(kTimeSync, "");
  files().remove(kTimeSync);
}

void Dialogue::refuse_store_writes() {
  are_writes_refused_ = !are_writes_refused_;
  control::write(control::walk_groups, walk::kStoreWrites);
  control::write(control::walk_call, are_writes_refused_ ? 1 : 0);
  control::write(control::walk_then, 1);
}

void Dialogue::pass(uint32_t wall_s, uint32_t uptime_s) {
  control::write(control::clock_s, control::read(control::clock_s) + wall_s);
  control::write(control::uptime_s, control::read(control::uptime_s) + uptime_s);
  ++clock_changes_;
}

void Dialogue::turn() {
  begin_bounded();
  const size_t received = waiting_bytes();
  {
    const faults::AsAgent agent;
    loop_.turn();
  }
  check_bounds(kTurn, received);
  clients_.check_answered();
}

// --- the bounds ------------------------------------------------------------------------------------------------------

size_t Dialogue::waiting_bytes() const {
  int count = 0;
  if (g_server_Arg.fd == -1) return 0;
  FUZZ_CHECK(ioctl(g_server_Arg.fd, FIONREAD, &count) == 0);
  return static_cast<size_t>(count);
}

void Dialogue::begin_bounded() {
  messages_before_ = platform_.messages();
  connects_ = 0;
  saves = 0;
  commands.clear();
  writes.clear();
  commits.clear();
}

void Dialogue::check_bounds(const Bounds& bounds, size_t received) {
  platform_.take_last_message();
  FUZZ_CHECK(platform_.messages() - messages_before_ <= bounds.messages + received / kBytesOfAMessage);
  FUZZ_CHECK(connects_ <= bounds.connects);
  FUZZ_CHECK(commands.size() <= bounds.commands);
  FUZZ_CHECK(saves <= bounds.saves + static_cast<int>(received / kBytesOfASave));
}

// A cycle needs a clock that moves, and a measurement an acknowledgement or a cycle.
void Dialogue::check_over_the_whole_life() const {
  FUZZ_CHECK(platform_.reports() <= clock_changes_);
  FUZZ_CHECK(measurements_ <= 2 * (platform_.acknowledgements() + clock_changes_));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Dialogue(fuzz::bytes_of(data, size)).play();
  return 0;
}
