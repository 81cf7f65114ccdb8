// The timer service in a test's hands: its thread stands still in its sleep until the test lets it run one tick.
#ifndef NUVEK_TESTS_UNIT_TIMER_TIMER_SERVICE_H
#define NUVEK_TESTS_UNIT_TIMER_TIMER_SERVICE_H

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

#include "agent/timer/timer_steps.h"
#include "tests/support/world.h"

inline pthread_mutex_t* timer_lock() { return g_timerList.p_timer_mutex->native(); }

constexpr std::chrono::seconds kLongestWait{30};  // a thread under emulation and a sanitizer is slow

// Counts the timer threads that have come to their end. They are detached, so nobody can join them.
inline std::atomic<int> g_ended_timer_threads;

struct EndOfTimerThread {
  ~EndOfTimerThread() { ++g_ended_timer_threads; }
};

// Stands in for usleep(): holds the caller until the test lets it go on.
class TickGate {
 public:
  TickGate() {
    world().on_usleep = [this](unsigned usec) { sleep(usec); };
  }

  // Lets the thread leave its sleep, without waiting for what it does.
  void begin_tick() {
    const std::lock_guard<std::mutex> lock(mutex_);
    ++allowed_;
    changed_.notify_all();
  }

  // Waits until the thread sleeps again, or sleeps for the first time.
  void finish_tick() {
    std::unique_lock<std::mutex> lock(mutex_);
    if (!changed_.wait_for(lock, kLongestWait, [this] { return sleeps_.size() > allowed_; })) {
      ADD_FAILURE() << "the timer thread was not back in its sleep within 30 s";
    }
  }

  void open() {
    const std::lock_guard<std::mutex> lock(mutex_);
    open_ = true;
    changed_.notify_all();
  }

  std::vector<unsigned> sleeps() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return sleeps_;
  }

 private:
  void sleep(unsigned usec) {
    thread_local const EndOfTimerThread s_end;
    std::unique_lock<std::mutex> lock(mutex_);
    sleeps_.push_back(usec);
    const size_t number = sleeps_.size();
    changed_.notify_all();
    changed_.wait(lock, [this, number] { return open_ || allowed_ >= number; });
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<unsigned> sleeps_;
  size_t allowed_ = 0;
  bool open_ = false;
};

// The running service; the clock stands wherever the test puts it.
class TimerService {
 public:
  TimerService() {
    EXPECT_EQ(timer_init(), 0);
    gate_.finish_tick();
  }
  ~TimerService() { stop(); }
  TimerService(const TimerService&) = delete;
  TimerService& operator=(const TimerService&) = delete;

  // Runs whole ticks.
  void tick(int count = 1) {
    for (int i = 0; i < count; ++i) {
      gate_.begin_tick();
      gate_.finish_tick();
    }
  }

  // Ends the thread and waits until it has released everything.
  void stop() {
    if (stopped_) return;
    stopped_ = true;
    const int ended = g_ended_timer_threads + 1;
    const int32_t freed = g_timerFreeCount + g_timerList.timer_num + 1;  // the timers and the lock
    timer_stop();
    gate_.open();
    const auto deadline = std::chrono::steady_clock::now() + kLongestWait;
    while (g_ended_timer_threads != ended && std::chrono::steady_clock::now() < deadline) std::this_thread::yield();
    EXPECT_EQ(g_timerFreeCount, freed) << "the timer thread had not released all within 30 s";
  }

  TickGate& gate() { return gate_; }

 private:
  TickGate gate_;
  bool stopped_ = false;
};

#endif
