// Owns bounded texts and the device's 32-bit numbers. The device's long and time_t have 32 bits; these helpers make
// every machine read, multiply and subtract as the device does.
#ifndef NUVEK_AGENT_BASE_TEXT_H
#define NUVEK_AGENT_BASE_TEXT_H

#include <cstddef>
#include <cstdint>

namespace text {

// Copies `source` with its terminator, cut to what fits into `size` bytes, and returns its length then. `size` is at
// least 1.
size_t copy(char* destination, size_t size, const char* source);
template <size_t Size>
void copy(char (&destination)[Size], const char* source) {
  copy(destination, Size, source);
}

// The same for a text as it stands in a JSON message (RFC 8259): where the cut would fall into an escape ("\\n",
// "\\u00e9"), it falls ahead of it, so that what is kept can stand in another message.
void copy_escaped(char* destination, size_t size, const char* source);

// The number at the start of a text, as the device's strtol(base 10) and atoi read it: white space and a sign may lead,
// anything may follow, out of range saturates, no digits give 0.
int32_t to_int32(const char* source);

// The same as the device's strtoul(base 10): a leading minus negates modulo 2^32.
uint32_t to_uint32(const char* source);

// A number as decimal text.
class Number {
 public:
  explicit Number(int32_t value);
  const char* c_str() const { return begin_; }

 private:
  char digits_[12];
  const char* begin_;
};

// Product and difference modulo 2^32.
constexpr int32_t wrapping_product(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) * static_cast<uint32_t>(b));
}
constexpr int32_t wrapping_sum(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}
constexpr int32_t wrapping_difference(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
}

// Builds a text in a buffer that somebody else holds: takes what fits and lets the rest go. A format
// knows %s and %d and nothing else: the C library's would take as long as the rest of an answer to the platform.
class Builder {
 public:
  template <size_t Size>
  explicit Builder(char (&buffer)[Size]) : Builder(buffer, Size) {}
  Builder(char* buffer, size_t size) : buffer_(buffer), size_(size) { buffer_[0] = '\0'; }

  void append(const char* format, ...) __attribute__((format(printf, 2, 3)));
  void drop_last();  // takes the last character back; the text is not empty
  size_t length() const { return length_; }
  bool ends_with(char last) const { return length_ != 0 && buffer_[length_ - 1] == last; }

 private:
  void put(const char* piece, size_t most);

  char* buffer_;
  size_t size_;
  size_t length_ = 0;
};

}  // namespace text

// Copies every character of `source` but ':' to `destination`, without a terminator: the destination has been zeroed
// and holds at least as many bytes as `source` has characters, and one more.
void nuvek_strip_colons(char* destination, const char* source);

#endif
