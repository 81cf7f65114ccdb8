// Tells the moment on standard error and becomes the program under the watch:  launch WATCH-LIBRARY PROGRAM
// [ARGUMENT...]
#include <stdio.h>
#include <stdlib.h>
#include <time.h>
#include <unistd.h>

int main(int argc, char** argv) {
  if (argc < 3) return 2;
  setenv("LD_PRELOAD", argv[1], 1);
  struct timespec time;
  clock_gettime(CLOCK_MONOTONIC, &time);
  fprintf(stderr, "exec %lld 0 0\n", (long long)time.tv_sec * 1000000000LL + time.tv_nsec);
  execv(argv[2], argv + 2);
  return 1;
}
