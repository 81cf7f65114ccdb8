// tcapi: reads, changes and watches the store from a shell, so that a person can play the gateway's other software.
#include <cstdio>

#include "platform/tcapi/tool.h"

int main(int argc, char* argv[]) {
  const int status = tcapi_store::run_tool({argv + 1, argv + argc});
  if (fflush(stdout) == 0 && ferror(stdout) == 0) return status;
  perror("tcapi: standard output");
  return 1;
}
