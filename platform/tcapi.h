// The gateway's configuration store and its console, as the chip vendor's library gives them. On a gateway the
// device's own libtcapi.so stands behind these declarations; on a desk the stand-in in platform/tcapi/ does.
#ifndef NUVEK_PLATFORM_TCAPI_H
#define NUVEK_PLATFORM_TCAPI_H

#ifdef __cplusplus
extern "C" {
#endif

// Longest value of an attribute, in characters without the terminator.
#define TCAPI_VALUE_MAX 1023

// Reads one attribute. Returns 0 and fills `value` with a NUL-terminated text of at most TCAPI_VALUE_MAX characters, so
// `value` must hold TCAPI_VALUE_MAX + 1 bytes; returns non-zero and leaves `value` as it was when the node or the
// attribute does not exist.
int tcapi_get(const char* node, const char* attr, char* value);

// Changes one attribute of the live level, which every process sees at once; makes the node and the attribute when they
// are new. Returns 0, or non-zero when nothing was changed.
int tcapi_set(const char* node, const char* attr, const char* value);

// Tells the gateway's other software that the changes of this node are complete. Returns 0, or non-zero when there is
// no such node.
int tcapi_commit(const char* node);

// Writes the whole live level to flash. Returns 0, or non-zero when flash still holds what it held before.
int tcapi_save(void);

// Prints to the gateway's console, as printf does. Returns the number of characters printed, or a negative value.
int tcdbg_printf(const char* format, ...) __attribute__((format(printf, 1, 2)));

#ifdef __cplusplus
}
#endif

#endif
