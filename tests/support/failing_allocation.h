// Read ahead of a source that is built once more for a test program: its allocations are the test's to refuse.
#ifndef NUVEK_TESTS_SUPPORT_FAILING_ALLOCATION_H
#define NUVEK_TESTS_SUPPORT_FAILING_ALLOCATION_H

#include <stdlib.h>  // its own declarations, and those that lead to them, come ahead of the names below

// The test program defines the one that its source calls.
extern "C" void* calloc_or_none(size_t count, size_t size);
extern "C" void* realloc_or_none(void* memory, size_t size);

#define calloc calloc_or_none
#define realloc realloc_or_none

#endif
