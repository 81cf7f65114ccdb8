// Changes a script by whole lines half of the time: one is put in, doubled, moved or taken out. Bytes that change at
// random seldom make a step of a line, and hardly ever one that goes with the step before it.
#include <algorithm>
#include <random>
#include <vector>

#include "tests/fuzz/fuzz.h"

extern "C" size_t LLVMFuzzerMutate(uint8_t* data, size_t size, size_t max_size);
extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t max_size, unsigned seed);

namespace {

using Lines = std::vector<std::string>;

constexpr const char* kSteps[] = {
    "t",
    "t",
    "t",
    "k",
    "k",
    "m",
    "x",
    "d",
    "n",
    "w",
    "e",
    "s 1",
    "s 10",
    "s 41",
    "s 86401",
    "s 604801",
    "c 59",
    "c 60",
    "c 61",
    "c 86400",
    "c -59",
    "c -60",
    "c -61",
    "c -86400",
    "c -700000000",
    "c 900000000",
    R"(l {"Longitude":"1.5","Latitude":2,"AreaCode":"110101","TimeStamp":"1","ID":7})",
    R"(l {"Longitude":"-179.99999","Latitude":"1e60","AreaCode":"\"Lat\\","GISDigest":"^n","ID":"8"})",
    "l garbage",
    R"(a {"RPCMethod":"Inform0Response","RegID":"R1","ID":@,"Code":0})",
    R"(a {"RPCMethod":"Inform0Response","RegID":"R2","ID":@,"Code":-3})",
    R"(a {"RPCMethod":"ResultResponse","ID":@,"Code":0},{"RPCMethod":"ResultResponse","ID":&,"Code":0})",
    R"(a {"RPCMethod":"ResultResponse","ID":@,"Code":-3})",
    R"(a {"RPCMethod":"ResultResponse","ID":&,"Code":-2})",
    R"(a {"RPCMethod":"ResultResponse","ID":0,"Code":0})",
    R"(a {"RPCMethod":"Get","ObjectPath":"NUVEK.DeviceInfo","ID":1},{"RPCMethod":"Get","ObjectPath":"NUVEK.Counter"})",
    R"(a {"RPCMethod":"Get","ObjectPath":"NUVEK.GISInfoA"},{"RPCMethod":"Get","ObjectPath":"NUVEK.Interface","ID":2})",
    R"(a {"RPCMethod":"Get"},{"RPCMethod":"Get"},{"RPCMethod":"Get"},{"RPCMethod":"Get"},{"RPCMethod":"Get"})",
    "b HTTP/1.1 404 Not Found^r^n^r^n",
    "b HTTP/1.1 200 OK^r^nContent-Length: 4^r^n^r^n[,,]",
    "p 4711^n",
    "p ^n",
    "v 127",
    "h 0 1.5,2.5",
    "h 3 7",
    "h 7  1  gw (192.0.2.1)  0.5 ms  0.4 ms  0.3 ms^n",
};

Lines lines_of(std::string_view bytes) {
  Lines lines;
  while (!bytes.empty()) {
    const std::string_view line = bytes.substr(0, bytes.find('\n'));
    lines.emplace_back(line);
    bytes.remove_prefix(std::min(line.size() + 1, bytes.size()));
  }
  return lines;
}

void change(Lines& lines, std::minstd_rand& draw) {
  enum { kPutIn, kPutInToo, kPutInAsWell, kDouble, kSwap, kTakeOut, kChanges };
  const auto place = [&] { return lines.begin() + static_cast<ptrdiff_t>(draw() % lines.size()); };
  const auto what = draw() % kChanges;
  if (lines.empty() || what <= kPutInAsWell) {
    const auto at = static_cast<ptrdiff_t>(draw() % (lines.size() + 1));
    lines.insert(lines.begin() + at, kSteps[draw() % std::size(kSteps)]);
  } else if (what == kDouble) {
    const std::string line = *place();
    lines.insert(place(), line);
  } else if (what == kSwap) {
    std::iter_swap(place(), place());
  } else {
    lines.erase(place());
  }
}

}  // namespace

size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t max_size, unsigned seed) {
  std::minstd_rand draw(seed);
  if (draw() % 2 == 0) return LLVMFuzzerMutate(data, size, max_size);
  Lines lines = lines_of(fuzz::bytes_of(data, size));
  for (auto changes = 1 + draw() % 3; changes != 0; --changes) change(lines, draw);
  std::string script;
  for (const std::string& line : lines) script += line + "\n";
  size = std::min(script.size(), max_size);
  memcpy(data, script.data(), size);
  return size;
}
