// Owns mutual exclusion without a C++ runtime: a mutex that needs no start-up code and its scoped owner.
#ifndef NUVEK_AGENT_BASE_LOCK_H
#define NUVEK_AGENT_BASE_LOCK_H

#include <pthread.h>

class Mutex {
 public:
  void lock() { pthread_mutex_lock(&mutex_); }
  void unlock() { pthread_mutex_unlock(&mutex_); }

 private:
  pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
};

class Lock {
 public:
  explicit Lock(Mutex& mutex) : mutex_(mutex) { mutex_.lock(); }
  ~Lock() { mutex_.unlock(); }
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;

 private:
  Mutex& mutex_;
};

#endif
