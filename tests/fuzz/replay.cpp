// Runs a fuzz target over every file that is named or lies in a folder that is named. Says how many there were; none at
// all is a failure, since a test of nothing must not pass.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "tests/fuzz/fuzz.h"

namespace {

namespace fs = std::filesystem;

void replay(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  FUZZ_CHECK(in.is_open());
  const std::vector<char> content{std::istreambuf_iterator<char>(in), {}};
  // Memory of exactly the content's size, which a vector need not have.
  const std::unique_ptr<uint8_t[]> bytes(new uint8_t[content.size()]);
  if (!content.empty()) memcpy(bytes.get(), content.data(), content.size());
  fprintf(stderr, "%s\n", file.filename().c_str());
  LLVMFuzzerTestOneInput(bytes.get(), content.size());
}

size_t replay_all(const fs::path& path) {
  if (!fs::is_directory(path)) {
    replay(path);
    return 1;
  }
  size_t count = 0;
  for (const auto& entry : fs::directory_iterator(path)) {
    replay(entry.path());
    ++count;
  }
  return count;
}

}  // namespace

int main(int argc, char** argv) {
  size_t count = 0;
  for (int i = 1; i < argc; ++i) count += replay_all(argv[i]);
  fprintf(stderr, "%zu inputs replayed\n", count);
  return count != 0 ? 0 : 1;
}
