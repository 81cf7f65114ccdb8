// Owns the way to the configuration store: the only caller of the platform's store functions. A read copies with a
// bound, so that no value can overrun a field. A write's result changes no answer, since there is nobody to tell; the
// log says once that the store refuses.
#ifndef NUVEK_AGENT_BASE_STORE_H
#define NUVEK_AGENT_BASE_STORE_H

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace store {

extern std::atomic<bool> g_refusal_told;  // the log has said that the store refuses

// Reads an attribute into `out`, cut to what fits into `size` bytes with a terminator. Returns false, and leaves `out`
// as it was, when the store has no such attribute.
bool read(const char* node, const char* attr, char* out, size_t size);
template <size_t Size>
bool read(const char* node, const char* attr, char (&out)[Size]) {
  return read(node, attr, out, Size);
}

// Each returns whether the store took the value.
bool write(const char* node, const char* attr, const char* value);
bool write_number(const char* node, const char* attr, int32_t value);

void commit(const char* node);
int save();  // returns what the store said, 0 when flash holds the live level now

}  // namespace store

#endif
