// Starts the agent: options, timers, the speed test's kernel module, configuration, counters, the local port; then the
// main loop, for ever. Nothing that fails here stops the daemon.
#include <csignal>
#include <cstdio>
#include <cstring>

#include "agent/base/config.h"
#include "agent/base/counters.h"
#include "agent/base/descriptor.h"
#include "agent/base/file.h"
#include "agent/base/lock.h"
#include "agent/base/log.h"
#include "agent/base/process.h"
#include "agent/base/records.h"
#include "agent/base/text.h"
#include "agent/local/local_server.h"
#include "agent/main/main_loop.h"
#include "agent/tasks/back_off.h"
#include "agent/timer/timer.h"

// Some C libraries' own.
extern "C" int mallopt(int option, int value) __attribute__((weak));

namespace {

// What a name look-up leaves in the heap for ever would stand above the buffers of the files that it reads. Those shall
// be mappings of their own, which go with the file: for that the heap must not have room for them.
void keep_file_buffers_off_heap() {
  constexpr int kTopPad = -2;
  constexpr int kMmapThreshold = -3;
  constexpr int kPageBytes = 4096;
  if (mallopt == nullptr) return;
  mallopt(kTopPad, 0);
  mallopt(kMmapThreshold, kPageBytes);
}

// "-v WORD" and "-d WORD", each as often as wanted; the word is ignored. Anything else says nothing. Options may stand
// behind other words, which not every C library's getopt() allows.
void parse_options(int argc, char** argv) {
  for (int i = 1; i < argc && strcmp(argv[i], "--") != 0; ++i) {
    if (argv[i][0] != '-') continue;
    const char* option = strpbrk(argv[i] + 1, "dv");
    if (option == nullptr) continue;
    if (option[1] == '\0' && ++i == argc) return;  // without its word it does not count
    ++(*option == 'd' ? nuvekDebug : nuvekDebugPrintf);
  }
}

// As the only argument these answer and start nothing.
const char* answer_to(const char* word) {
  if (strcmp(word, "--version") == 0) return "nuvek " NUVEK_VERSION;
  if (strcmp(word, "--help") == 0) {
    return "Usage: nuvek [-d WORD] [-v WORD] | --version | --help\n"
           "Management agent of a home broadband gateway; runs until it is killed.\n"
           "  -d WORD  mark on the console where the program passes\n"
           "  -v WORD  write the log to standard output\n"
           "WORD is ignored. More: nuvek(8), nuvek-status(8).";
  }
  return nullptr;
}

void load_speed_test_module() {
  char command[300];
  snprintf(command, sizeof command, "insmod %s", file::Path("/lib/modules/speedtest.ko").c_str());
  process::run(command);  // the module may be loaded already
}

void clear_connection() {
  const Lock hold(g_link_lock);
  text::copy(g_server_Arg.hostIp, "");
  text::copy(g_server_Arg.urlPath, kRequestPath);
  g_server_Arg.fd = -1;
}

void load_server() {
  const Lock hold(g_link_lock);
  nuvek_load_server();
}

// Returns the local server's listening socket, or -1.
int start_up(int argc, char** argv) {
  descriptor::open_standard();
  keep_file_buffers_off_heap();
  static char output[1024];                        // in place of a page of heap, held for ever
  setvbuf(stdout, output, _IOLBF, sizeof output);  // a log in a file survives a kill
  parse_options(argc, argv);
  signal(SIGPIPE, SIG_IGN);
  if (timer_init() != 0) NUVEK_ERROR("Init timer fail!");
  load_speed_test_module();
  load_server();
  nuvek_load_devinfo(&g_devinfo);
  nuvek_load_reportFlags();
  nuvek_init_Counter();
  const int listen_fd = nuvek_InitLocalServer();
  nuvek_set_delaySessionTime(0);
  clear_connection();
  return listen_fd;
}

}  // namespace

int main(int argc, char** argv) {
  const char* answer = argc == 2 ? answer_to(argv[1]) : nullptr;
  if (answer != nullptr) return puts(answer) == EOF ? 1 : 0;
  MainLoop loop(start_up(argc, argv));
  for (;;) loop.turn();
}
