// Changes a block as the fuzzer likes and then, most times, puts the body's true length into the head: hardly any
// changed block would get past the framing otherwise.
#include <algorithm>

#include "tests/fuzz/fuzz.h"

extern "C" size_t LLVMFuzzerMutate(uint8_t* data, size_t size, size_t max_size);
extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t max_size, unsigned seed);

namespace {

constexpr std::string_view kHead = "Content-Length: ";

// Corrects the first length of the response that begins at `begin`. Returns where the next response begins.
size_t correct_length(std::string& block, size_t begin) {
  const size_t end = std::min(block.find("HTTP/1.1 200", begin + 1), block.size());
  const size_t head = block.find(kHead, begin);
  const size_t opening = block.find('[', begin);
  const size_t closing = block.find(']', begin);
  if (head >= end || opening >= end || closing >= end || closing < opening) return end;
  const size_t digits = head + kHead.size();
  const size_t digits_end = block.find("\r\n", digits);
  if (digits_end >= opening) return end;
  const std::string length = std::to_string(closing - opening + 1);
  block.replace(digits, digits_end - digits, length);
  return end + length.size() - (digits_end - digits);
}

}  // namespace

size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t max_size, unsigned seed) {
  constexpr unsigned kOneInSoManyStaysAsItIs = 4;
  size = LLVMFuzzerMutate(data, size, max_size);
  if (seed % kOneInSoManyStaysAsItIs == 0) return size;
  std::string block(fuzz::bytes_of(data, size));
  for (size_t begin = 0; begin < block.size();) begin = correct_length(block, begin);
  size = std::min(block.size(), max_size);
  memcpy(data, block.data(), size);
  return size;
}
