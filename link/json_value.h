// Owns reading one member out of a received JSON text.
#ifndef NUVEK_LINK_JSON_VALUE_H
#define NUVEK_LINK_JSON_VALUE_H

#include <cstddef>

// Copies the text of the first top-level member named `key` (a string as it stands between its quotes, or a number)
// into `out`, cut to what fits into `size` bytes. Leaves `out` as it is when the text does not parse as an object, has
// no such member, or the member is an object, an array, true, false or null.
void nuvek_json_get_value(const char* json, const char* key, char* out, size_t size);
template <size_t Size>
void nuvek_json_get_value(const char* json, const char* key, char (&out)[Size]) {
  nuvek_json_get_value(json, key, out, Size);
}

#endif
