// Several processes and threads at one store.
#include <pthread.h>
#include <semaphore.h>
#include <sys/file.h>
#include <sys/time.h>

#include <atomic>
#include <csignal>
#include <thread>

#include "calls.h"
#include "fixture.h"

namespace {

using ProcessesTest = StoreTest;

constexpr int kWriters = 4;
constexpr int kReaders = 2;
constexpr int kRounds = 40;

std::string attr_of(int writer, int round) { return "w" + std::to_string(writer) + "r" + std::to_string(round); }

// A value that shows when it is put together from two: one letter, of a length that depends on it.
std::string letters(int round) {
  return std::string(static_cast<size_t>(100 + 20 * round), static_cast<char>('a' + round % 26));
}

bool is_of_one_piece(const std::string& value) {
  return value.find_first_not_of(value.substr(0, 1)) == std::string::npos && value.size() % 20 == 0;
}

int write_all_rounds(int writer) {
  for (int round = 0; round < kRounds; ++round) {
    if (tcapi_set("n", attr_of(writer, round).c_str(), "1") != 0) return 1;
    if (tcapi_set("n", "shared", letters(round).c_str()) != 0) return 2;
    if (get("n", attr_of(writer, round)) != "1") return 3;
    if (round % 10 == 0 && tcapi_save() != 0) return 4;
  }
  return 0;
}

// Reads until the stop mark stands in the store.
int read_until_stopped() {
  int seen = 0;
  while (get("n", "stop") == "<none>") {
    const std::string value = get("n", "shared");
    if (!is_of_one_piece(value)) return 1;
    // What one process has seen of a writer's work cannot go away again.
    while (seen < kRounds && get("n", attr_of(0, seen)) == "1") ++seen;
    for (int round = 0; round < seen; ++round) {
      if (get("n", attr_of(0, round)) != "1") return 2;
    }
  }
  return seen == kRounds || get("n", attr_of(0, kRounds - 1)) == "1" ? 0 : 3;
}

TEST_F(ProcessesTest, NoUpdateIsLostAndNoReaderSeesAHalf) {
  ASSERT_EQ(tcapi_set("n", "shared", letters(0).c_str()), 0);
  std::vector<pid_t> readers;
  std::vector<pid_t> writers;
  for (int i = 0; i < kReaders; ++i) readers.push_back(start_process(read_until_stopped));
  for (int i = 0; i < kWriters; ++i) writers.push_back(start_process([i] { return write_all_rounds(i); }));
  for (const pid_t writer : writers) EXPECT_EQ(end_of(writer), 0);
  ASSERT_EQ(tcapi_set("n", "stop", "1"), 0);
  for (const pid_t reader : readers) EXPECT_EQ(end_of(reader), 0);
  for (int writer = 0; writer < kWriters; ++writer) {
    for (int round = 0; round < kRounds; ++round) EXPECT_EQ(get("n", attr_of(writer, round)), "1");
  }
}

TEST_F(ProcessesTest, ChangeOfAnotherProcessIsSeenAtOnce) {
  for (int i = 0; i < 20; ++i) {
    const std::string value = std::to_string(i);
    ASSERT_EQ(end_of(start_process([&] { return tcapi_set("n", "a", value.c_str()); })), 0);
    EXPECT_EQ(get("n", "a"), value);
  }
}

TEST_F(ProcessesTest, FirstUseByManyAtOnceMakesOneLiveLevel) {
  write_file(flash(), "# tcapi store 1\n[n]\na=seed\n# end\n");
  std::vector<pid_t> writers;
  for (int i = 0; i < kWriters; ++i) {
    writers.push_back(start_process([i] {
      if (get("n", "a") != "seed") return 1;
      return tcapi_set("n", attr_of(i, 0).c_str(), "1");
    }));
  }
  for (const pid_t writer : writers) EXPECT_EQ(end_of(writer), 0);
  for (int i = 0; i < kWriters; ++i) EXPECT_EQ(get("n", attr_of(i, 0)), "1");
}

sem_t g_in_the_middle;
sem_t g_go_on;
std::atomic<bool> g_forking{false};

// A writer stands in the middle of its call, and goes on with many thousand small steps once the fork has begun.
TEST_F(ProcessesTest, ChildOfAForkInTheMiddleOfACallCanUseTheStore) {
  const std::string long_value(TCAPI_VALUE_MAX, 'x');
  for (int i = 0; i < 40; ++i) ASSERT_EQ(tcapi_set("n", attr_of(i, 0).c_str(), long_value.c_str()), 0);
  ASSERT_EQ(sem_init(&g_in_the_middle, 0, 0), 0);
  ASSERT_EQ(sem_init(&g_go_on, 0, 0), 0);
  const auto begin = [] {
    if (g_forking.exchange(false)) sem_post(&g_go_on);
  };
  ASSERT_EQ(pthread_atfork(begin, nullptr, nullptr), 0);  // added last, it is the first to be called
  calls::ahead_of("flock", [] {
    sem_post(&g_in_the_middle);
    sem_wait(&g_go_on);
  });
  std::thread writer([] { EXPECT_EQ(tcapi_set("n", "a", "1"), 0); });
  sem_wait(&g_in_the_middle);
  g_forking = true;
  const pid_t child = start_process([] {
    calls::stop();
    return tcapi_set("n", "child", "1");
  });
  EXPECT_EQ(end_of(child), 0);
  writer.join();
  calls::stop();
  EXPECT_EQ(get("n", "a") + get("n", "child"), "11");
}

TEST_F(ProcessesTest, SignalWhileItWaitsForTheLockDisturbsNothing) {
  ASSERT_EQ(tcapi_set("n", "a", "old"), 0);
  const int lock = open((folder_ + "/lock").c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_GE(lock, 0);
  ASSERT_EQ(flock(lock, LOCK_EX), 0);
  int ready[2];
  ASSERT_EQ(pipe(ready), 0);
  const pid_t child = start_process([&] {
    close(lock);
    static int s_ready;
    s_ready = ready[1];
    struct sigaction action = {};
    action.sa_handler = [](int) { (void)!write(s_ready, "", 1); };
    sigaction(SIGALRM, &action, nullptr);
    const itimerval often = {{0, 10'000}, {0, 10'000}};
    setitimer(ITIMER_REAL, &often, nullptr);
    return tcapi_set("n", "a", "new");
  });
  close(ready[1]);
  char signals[3];
  for (char& one : signals) ASSERT_EQ(read(ready[0], &one, 1), 1);
  EXPECT_EQ(read_file(level()), "# tcapi store 1\n[n]\na=old\n# end\n") << "written without the lock";
  flock(lock, LOCK_UN);
  EXPECT_EQ(end_of(child), 0);
  EXPECT_EQ(get("n", "a"), "new");
  close(lock);
  close(ready[0]);
}

}  // namespace
