// Whole messages through the agent's own code and the store stand-in, with the network cut off: what is sent is
// accepted and forgotten.
#include <semaphore.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "agent/base/config_steps.h"
#include "agent/base/counters.h"
#include "agent/main/main_loop.h"
#include "agent/report/registration_steps.h"
#include "agent/rpc/response_steps.h"
#include "agent/timer/timer_steps.h"
#include "bench/operations.h"
#include "platform/site.h"
#include "platform/tcapi.h"

namespace {

constexpr int kSocket = 3;  // any descriptor above 0; nothing is ever sent on it

size_t g_sent_bytes;  // of the last message
std::string g_folder;

struct Ticks {
  int until_begin = -1;
  int until_end = 0;
  std::function<void()> begin;
  std::function<void()> end;
  sem_t ended;
};
Ticks g_ticks;

std::string get_block(const std::string& path) {
  const std::string body = R"(["u",{"RPCMethod":"Get","ID":12345678,"ObjectPath":")" + path + R"("}])";
  return "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: " + std::to_string(body.size()) +
         "\r\n\r\n" + body + '\0';  // the room that reading in place needs
}

void answer(std::string& block) {
  g_sent_bytes = 0;
  g_server_Arg.fd = kSocket;
  if (nuvek_parse_RecvData(block.data(), &g_devinfo, &g_server_Arg) != 0 || g_sent_bytes == 0) abort();
}

void add_get(std::vector<Operation>& operations, const std::string& path) {
  operations.push_back(
      {"Get " + path + " to GetResponse", "nuvek", [block = get_block(path)]() mutable { answer(block); }});
}

// A store of its own for each table, with as many entries and no more.
void take_interface_table(int entries) {
  const std::string folder = g_folder + "/table" + std::to_string(entries);
  setenv("TCAPI_STORE", folder.c_str(), 1);
  std::filesystem::create_directory(folder);
  std::filesystem::copy_file(NUVEK_BENCH_SEED, folder + "/flash", std::filesystem::copy_options::overwrite_existing);
  tcapi_set("nuvekInterfaceInfo_Common", "Count", std::to_string(entries).c_str());
  for (int k = 0; k < entries; ++k) {
    const std::string node = "nuvekInterfaceInfo_Entry" + std::to_string(k);
    for (const char* attr : {"IFName", "PhyAddr", "Mask", "LocalIP", "RemoteIP", "MTU"}) {
      tcapi_set(node.c_str(), attr, strcmp(attr, "MTU") == 0 ? "1500" : "192.168.1.1");
    }
  }
}

}  // namespace

// The process's edges. close() stays real but for the socket that is none.
extern "C" {
ssize_t send(int, const void*, size_t size, int) {
  g_sent_bytes += size;
  return static_cast<ssize_t>(size);
}
int close(int fd) { return fd == kSocket ? 0 : static_cast<int>(syscall(3, fd)); }
int select(int, fd_set*, fd_set*, fd_set*, timeval*) { return 0; }
int usleep(useconds_t) {
  if (g_ticks.until_begin-- == 0) g_ticks.begin();
  if (g_ticks.until_end-- == 0) {
    g_ticks.end();
    g_timerList.stop = 1;
    sem_post(&g_ticks.ended);
  }
  return 0;
}
}

void make_world() {
  char folder[] = "/dev/shm/nuvek-bench-XXXXXX";
  if (mkdtemp(folder) == nullptr) abort();
  g_folder = folder;
  setenv("NUVEK_ROOT", folder, 1);
  atexit([] { std::filesystem::remove_all(g_folder); });
  std::filesystem::create_directories(g_folder + "/var/lib/tcapi");
  std::filesystem::create_directories(g_folder + "/tmp");
  std::ofstream(g_folder + "/tmp/timeSync");
  std::filesystem::copy_file(NUVEK_BENCH_SEED, g_folder + "/var/lib/tcapi/flash");
  tcapi_set("nuvek_Common", "UUID", "5d2a8f44-1f5e-11ee-be56-024e56454b01");
  tcapi_set("nuvek_Common", "LastInformTime", std::to_string(time(nullptr)).c_str());
  tcapi_set("nuvek_Common", "LastSpeedTime", std::to_string(time(nullptr)).c_str());
  tcapi_set("nuvek_Common", "LastTraceTime", std::to_string(time(nullptr)).c_str());
  tcapi_set("nuvek_Entry0", "GISInterface", "A");
  tcapi_set("nuvek_Entry0", "alreadyReport", "1");
  nuvek_load_server();
  nuvek_load_devinfo(&g_devinfo);
  nuvek_load_reportFlags();
  nuvek_init_Counter();
  strcpy(g_server_Arg.hostIp, "127.0.0.1");
  strcpy(g_server_Arg.urlPath, "/reg/");
  g_server_Arg.fd = -1;
}

void add_messages(std::vector<Operation>& operations) {
  operations.push_back({"Inform0, records to wire", "nuvek", [] {
                          g_server_Arg.fd = kSocket;
                          nuvek_report(&g_devinfo);
                        }});
  for (const char* path : {"NUVEK.DeviceInfo", "NUVEK.GISInfoA", "NUVEK.Counter", "NUVEK.Interface"}) {
    add_get(operations, path);
  }
  operations.push_back({"idle turn of the main loop", "nuvek", [] {
                          static MainLoop loop(-1);
                          g_server_Arg.fd = -1;
                          loop.turn();
                        }});
  for (const int entries : {0, 1, 2, 4, 8, 16, 32, 64}) {
    operations.push_back({"Get an interface table of " + std::to_string(entries), "nuvek",
                          [entries, block = get_block("NUVEK.Interface")]() mutable {
                            static int size = -1;
                            if (size != entries) take_interface_table(size = entries);
                            answer(block);
                          }});
  }
}

void run_ticks(int count, const std::function<void()>& begin, const std::function<void()>& end) {
  constexpr int kWarmUp = 100;
  sem_init(&g_ticks.ended, 0, 0);
  g_ticks.begin = begin;
  g_ticks.end = end;
  g_ticks.until_begin = kWarmUp;
  g_ticks.until_end = kWarmUp + count;
  if (timer_init() != 0) abort();
  sem_wait(&g_ticks.ended);
}
