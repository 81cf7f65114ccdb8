// What all fuzz targets share: the entry point that the fuzzer and the replay program call, and the way to say that an
// input broke a rule.
#ifndef NUVEK_TESTS_FUZZ_FUZZ_H
#define NUVEK_TESTS_FUZZ_FUZZ_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

// Runs the target over one input. Returns 0; an input that breaks a rule ends the program.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

#define FUZZ_CHECK(rule) ((rule) ? static_cast<void>(0) : fuzz::broken(__FILE__, __LINE__, #rule))

namespace fuzz {

[[noreturn]] inline void broken(const char* file, int line, const char* rule) {
  fprintf(stderr, "%s:%d: broken: %s\n", file, line, rule);
  abort();
}

inline std::string_view bytes_of(const uint8_t* data, size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

// A NUL-terminated copy in memory of exactly its size, so that a sanitizer sees the first byte read beyond it.
class Text {
 public:
  explicit Text(std::string_view bytes) : memory_(new char[bytes.size() + 1]) {
    bytes.copy(memory_.get(), bytes.size());
    memory_[bytes.size()] = '\0';
  }
  const char* c_str() const { return memory_.get(); }

 private:
  std::unique_ptr<char[]> memory_;
};

// Whether the text in a field of fixed size ends within it.
template <size_t Size>
bool is_terminated(const char (&field)[Size]) {
  return strnlen(field, Size) < Size;
}

}  // namespace fuzz

#endif
