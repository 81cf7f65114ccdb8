#include <cstdlib>

#include "platform/mjson/cells.h"

void* mjson::take_memory(size_t size) { return malloc(size); }
void mjson::give_memory(void* memory) { free(memory); }
