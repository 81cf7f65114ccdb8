// Owns mutual exclusion without a C++ runtime: a mutex that needs no start-up code, its scoped owner, and the words
// that tell clang what a lock guards (-Wthread-safety; other compilers see nothing).
#ifndef NUVEK_AGENT_BASE_LOCK_H
#define NUVEK_AGENT_BASE_LOCK_H

#include <pthread.h>

#ifdef __clang__
#define NUVEK_THREAD_SAFETY(attribute) __attribute__((attribute))
#else
#define NUVEK_THREAD_SAFETY(attribute)
#endif
#define GUARDED_BY(lock) NUVEK_THREAD_SAFETY(guarded_by(lock))
#define REQUIRES(lock) NUVEK_THREAD_SAFETY(requires_capability(lock))
#define EXCLUDES(lock) NUVEK_THREAD_SAFETY(locks_excluded(lock))
#define ACQUIRE(...) NUVEK_THREAD_SAFETY(acquire_capability(__VA_ARGS__))
#define RELEASE(...) NUVEK_THREAD_SAFETY(release_capability(__VA_ARGS__))
#define SCOPED_LOCK NUVEK_THREAD_SAFETY(scoped_lockable)

class NUVEK_THREAD_SAFETY(capability("mutex")) Mutex {
 public:
  void lock() ACQUIRE() { pthread_mutex_lock(&mutex_); }
  void unlock() RELEASE() { pthread_mutex_unlock(&mutex_); }

  // As the system knows it, for one that is made and given back while the agent runs.
  pthread_mutex_t* native() { return &mutex_; }

 private:
  pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
};

class SCOPED_LOCK Lock {
 public:
  explicit Lock(Mutex& mutex) ACQUIRE(mutex) : mutex_(mutex) { mutex_.lock(); }
  ~Lock() RELEASE() { mutex_.unlock(); }
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;

 private:
  Mutex& mutex_;
};

#endif
