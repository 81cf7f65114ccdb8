#include "agent/base/log.h"

#include <cstdarg>
#include <cstdio>

#include "platform/tcapi.h"

int32_t nuvekDebug;
int32_t nuvekDebugPrintf;

namespace {

__attribute__((format(printf, 4, 0))) void write(const char* level, const char* operation, int line, const char* format,
                                                 va_list arguments) {
  if ((nuvekDebug | nuvekDebugPrintf) == 0) return;
  // The console gets the place without the message: it is shared with the whole gateway and must stay readable.
  if (nuvekDebug != 0) tcdbg_printf("[NUVEK %s %s:%d] \n", level, operation, line);
  if (nuvekDebugPrintf == 0) return;

  flockfile(stdout);  // one line stays one line when both threads log
  printf("[NUVEK %s %s:%d] ", level, operation, line);
  vprintf(format, arguments);
  putchar('\n');
  funlockfile(stdout);
}

}  // namespace

namespace logging {

void debug(const char* operation, int line, const char* format, ...) {
  if ((nuvekDebug | nuvekDebugPrintf) == 0) return;  // as mostly, and without a call
  va_list arguments;
  va_start(arguments, format);
  write("DEBUG", operation, line, format, arguments);
  va_end(arguments);
}

void error(const char* operation, int line, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  write("ERROR", operation, line, format, arguments);
  va_end(arguments);
}

}  // namespace logging
