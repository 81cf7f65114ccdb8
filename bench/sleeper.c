// What a process costs at least on this machine: it sleeps, and with an argument a second thread sleeps beside it.
#include <pthread.h>
#include <stddef.h>
#include <unistd.h>

static void* sleep_on(void* unused) {
  for (;;) sleep(1000);
  return unused;
}

int main(int argc, char** argv) {
  (void)argv;
  pthread_t thread;
  if (argc > 1 && pthread_create(&thread, NULL, sleep_on, NULL) != 0) return 1;
  sleep_on(NULL);
}
