// How cost grows, in this process alone: the counters over a million messages, and the store over its number of nodes.
//
//   growth counters
//   growth store NODES...
#include <malloc.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>

#include "agent/base/counters.h"
#include "agent/rpc/response_steps.h"
#include "agent/tasks/back_off.h"
#include "platform/tcapi.h"

namespace {

constexpr int kMessages = 1000000;
constexpr int kSlices = 5;
constexpr int kCalls = 2000;

double clock_us() {
  timespec time{};
  clock_gettime(CLOCK_MONOTONIC, &time);
  return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_nsec) / 1e3;
}

void count_messages() {
  const char body[] = R"(["u",{"RPCMethod":"ResultResponse","ID":12345678,"Code":0}])";
  std::string block = "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(sizeof body - 1) + "\r\n\r\n" + body;
  block.push_back('\0');  // the room that reading in place needs
  puts("| messages so far | us each | heap in use, bytes | SuccessResult |\n|--:|--:|--:|--:|");
  for (int slice = 1; slice <= kSlices; ++slice) {
    const double start = clock_us();
    for (int k = 0; k < kMessages / kSlices; ++k) nuvek_parse_RecvData(block.data(), &g_devinfo, &g_server_Arg);
    printf("| %d | %.1f | %zu | %u |\n", slice * (kMessages / kSlices), (clock_us() - start) / (kMessages / kSlices),
           mallinfo2().uordblks, g_CntNum.SuccessResult.load());
    fflush(stdout);
  }
}

std::string node_name(int number) { return "Node" + std::to_string(number); }

// Microseconds of one call, over many.
template <class Call>
double each_us(int calls, const Call& call) {
  const double start = clock_us();
  for (int k = 0; k < calls; ++k) call(k);
  return (clock_us() - start) / calls;
}

void measure_store(const std::string& root, int nodes) {
  const std::string folder = root + "/" + std::to_string(nodes);
  std::filesystem::create_directories(folder);
  {
    std::ofstream flash(folder + "/flash");
    flash << "# tcapi store 1\n";
    for (int k = 0; k < nodes; ++k) flash << "[" << node_name(k) << "]\nFirst=1\nSecond=a value of some length\n";
    flash << "# end\n";
  }
  setenv("TCAPI_STORE", folder.c_str(), 1);
  char value[TCAPI_VALUE_MAX + 1];
  const auto get = [&](int k) {
    const std::string node = node_name((k * 7919) % nodes);
    if (tcapi_get(node.c_str(), "Second", value) != 0) abort();
  };
  const auto set = [&](int k) {
    const std::string node = node_name((k * 7919) % nodes);
    if (tcapi_set(node.c_str(), "First", std::to_string(k).c_str()) != 0) abort();
  };
  const double first_get = each_us(1, get);
  const double next_get = each_us(kCalls, get);
  const double change = each_us(kCalls / 10, set);
  const double save = each_us(20, [](int) { tcapi_save(); });
  printf("| %d | %ju | %.0f | %.2f | %.0f | %.0f |\n", nodes,
         static_cast<uintmax_t>(std::filesystem::file_size(folder + "/flash")), first_get, next_get, change, save);
  fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
  char root[] = "/dev/shm/nuvek-bench-XXXXXX";
  if (argc < 2 || mkdtemp(root) == nullptr) return 2;
  setenv("NUVEK_ROOT", root, 1);
  if (strcmp(argv[1], "counters") == 0) {
    count_messages();
  } else {
    puts("| nodes | bytes | first get, us | get, us | set, us | save, us |\n|--:|--:|--:|--:|--:|--:|");
    for (int k = 2; k < argc; ++k) measure_store(root, atoi(argv[k]));
  }
  std::filesystem::remove_all(root);
}
