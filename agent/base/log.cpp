#include "agent/base/log.h"

#include <cstdarg>
#include <cstdio>

#include "platform/tcapi.h"

int32_t nuvekDebug;
int32_t nuvekDebugPrintf;

namespace logging {

void write(Level level, const char* operation, int line, const char* format, ...) {
  if (nuvekDebug == 0 && nuvekDebugPrintf == 0) return;
  const char* name = level == Level::debug ? "DEBUG" : "ERROR";
  // The console gets the place without the message: it is shared with the whole gateway and must stay readable.
  if (nuvekDebug != 0) tcdbg_printf("[NUVEK %s %s:%d] \n", name, operation, line);
  if (nuvekDebugPrintf == 0) return;

  va_list arguments;
  va_start(arguments, format);
  flockfile(stdout);  // one line stays one line when both threads log
  printf("[NUVEK %s %s:%d] ", name, operation, line);
  vprintf(format, arguments);
  putchar('\n');
  funlockfile(stdout);
  va_end(arguments);
}

}  // namespace logging
