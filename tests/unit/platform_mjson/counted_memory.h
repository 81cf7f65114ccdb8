// Leads malloc, realloc and free of a compiled source through the counters of a test. Included ahead of everything
// else.
#ifndef NUVEK_TESTS_UNIT_PLATFORM_MJSON_COUNTED_MEMORY_H
#define NUVEK_TESTS_UNIT_PLATFORM_MJSON_COUNTED_MEMORY_H

#include <stdlib.h>  // and <cstdlib> with it, ahead of the macros: they take them back, or want them in std

#include <cstddef>

extern "C" void* counted_malloc(size_t size);
extern "C" void* counted_realloc(void* block, size_t size);
extern "C" void counted_free(void* block);

#define malloc counted_malloc
#define realloc counted_realloc
#define free counted_free

#endif
