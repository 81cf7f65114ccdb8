// The word that tells every process of a change: cut off by a stranger, left by a writer that died.
#include "platform/tcapi/generation.h"

#include <dlfcn.h>
#include <sys/mman.h>

#include <csignal>

#include "calls.h"
#include "fixture.h"

namespace {

class GenerationTest : public StoreTest {
 protected:
  std::string lock() const { return folder_ + "/lock"; }
  void cut_lock() const { ASSERT_EQ(truncate(lock().c_str(), 0), 0); }
  std::string told() const { return "tcapi: " + lock() + ": was cut off by somebody; made anew\n"; }
};

TEST_F(GenerationTest, LockFileThatIsCutOffIsToldOnceAndTheStoreGoesOn) {
  ASSERT_EQ(tcapi_set("n", "a", "1"), 0);
  ASSERT_EQ(get("n", "a"), "1");
  for (int time = 0; time < 3; ++time) {
    cut_lock();
    EXPECT_EQ(errors_of([] {
                for (int i = 0; i < 10; ++i) EXPECT_EQ(get("n", "a"), "1");
              }),
              told());
    ASSERT_EQ(tool({"set", "n", "b", std::to_string(time)}).status, 0);
    EXPECT_EQ(get("n", "b"), std::to_string(time));
    EXPECT_EQ(std::filesystem::file_size(lock()), 4U);
  }
}

TEST_F(GenerationTest, EveryCallSurvivesTheCut) {
  ASSERT_EQ(tcapi_set("n", "a", "1"), 0);
  const auto after_cut = [&](const std::function<int()>& call) {
    get("n", "a");
    cut_lock();
    return errors_of([&] { EXPECT_EQ(call(), 0); });
  };
  EXPECT_EQ(after_cut([] { return tcapi_set("n", "a", "2"); }), told());
  EXPECT_EQ(after_cut([] { return tcapi_commit("n"); }), told());
  EXPECT_EQ(after_cut([] { return tcapi_save(); }), told());
  EXPECT_EQ(get("n", "a"), "2");
  EXPECT_EQ(read_file(flash()), "# tcapi store 1\n[n]\na=2\n# end\n");
}

// What the word counts from must not be what somebody else still holds, or he would not see that the level changed.
TEST_F(GenerationTest, WordThatBeganAnewIsNoOldOne) {
  ASSERT_EQ(tcapi_set("n", "a", "1"), 0);
  ASSERT_EQ(get("n", "a"), "1");
  for (const off_t left : {0, 4}) {  // gone, and there again with zeros
    cut_lock();
    ASSERT_EQ(truncate(lock().c_str(), left), 0);
    for (const char* value : {"2", "3", "4"}) {
      ASSERT_EQ(tool({"set", "n", "a", value}).status, 0);
      ASSERT_EQ(get("n", "a"), value) << "as many changes as before the cut";
    }
  }
}

TEST_F(GenerationTest, LockFileCutOffAgainAndAgainUnderWritersLosesNothing) {
  ASSERT_EQ(tcapi_set("n", "a", "0"), 0);
  const pid_t cutter = start_process([&] {
    for (;;) {
      if (truncate(lock().c_str(), 0) != 0) return 1;
      usleep(50);
    }
  });
  const pid_t other = start_process([&] {
    redirect(STDERR_FILENO, "/dev/null");
    for (int i = 0; i < 200; ++i) {
      if (tcapi_set("n", "other", std::to_string(i).c_str()) != 0) return 1;
      if (get("n", "other") != std::to_string(i)) return 2;
    }
    return 0;
  });
  testing::internal::CaptureStderr();
  for (int i = 0; i < 200; ++i) {
    ASSERT_EQ(tcapi_set("n", "a", std::to_string(i).c_str()), 0);
    ASSERT_EQ(get("n", "a"), std::to_string(i));
  }
  EXPECT_EQ(end_of(other), 0);
  kill(cutter, SIGKILL);
  end_of(cutter);
  testing::internal::GetCapturedStderr();
  EXPECT_EQ(get("n", "other"), "199");
  EXPECT_EQ(read_file(level()), "# tcapi store 1\n[n]\na=199\nother=199\n# end\n");
}

// Ended by the signal, or by the handler that a sanitizer had in place before: its exit status is 1 or 66.
bool is_ended_by_bus_error(int end) { return end == -SIGBUS || end == 1 || end == 66; }

TEST_F(GenerationTest, BusErrorFromElsewhereStillEndsTheProgram) {
  constexpr int kSurvived = 40;
  ASSERT_EQ(tcapi_set("n", "a", "1"), 0);
  const auto silently = [](const std::function<void()>& body) {
    return end_of(start_process([&] {
      redirect(STDERR_FILENO, "/dev/null");
      body();
      return kSurvived;
    }));
  };
  EXPECT_TRUE(is_ended_by_bus_error(silently([] { raise(SIGBUS); })));
  EXPECT_TRUE(is_ended_by_bus_error(silently([] { kill(getpid(), SIGBUS); })));
  write_file(home_ + "/file", "1234");
  EXPECT_TRUE(is_ended_by_bus_error(silently([&] {
    const int file = open((home_ + "/file").c_str(), O_RDWR | O_CLOEXEC);
    auto* const byte = static_cast<volatile char*>(mmap(nullptr, 1, PROT_READ, MAP_SHARED, file, 0));
    if (get("n", "a") == "1" && truncate((home_ + "/file").c_str(), 0) == 0) static_cast<void>(byte[0]);
  })));
}

TEST_F(GenerationTest, NextGenerationIsEvenNewAndNeverNothing) {
  using tcapi_store::Generation;
  EXPECT_EQ(Generation::after(2), 4U);
  EXPECT_EQ(Generation::after(3), 4U) << "2 is what others hold from before";
  EXPECT_EQ(Generation::after(0xfffffffeU), 2U);
  EXPECT_EQ(Generation::after(0xffffffffU), 2U);
  const uint32_t beginning = Generation::after(0);
  EXPECT_EQ(beginning % 2, 0U);
  EXPECT_NE(beginning, Generation::after(0)) << "two that begin know nothing of each other";
}

// The library as a program finds it that has not used it yet: this one has, in some test before. A copy is another one.
TEST_F(GenerationTest, ProgramsOwnHandlerOfBusErrorsIsCalledForItsOwn) {
  Dl_info library = {};
  ASSERT_NE(dladdr(reinterpret_cast<void*>(tcapi_save), &library), 0);
  std::filesystem::copy_file(library.dli_fname, home_ + "/copy.so");
  const auto body = [&] {
    static volatile int s_stage;
    redirect(STDERR_FILENO, "/dev/null");
    signal(SIGBUS, [](int) { _exit(s_stage); });
    void* const copy = dlopen((home_ + "/copy.so").c_str(), RTLD_NOW | RTLD_LOCAL);
    if (copy == nullptr) return 1;
    const auto set = reinterpret_cast<decltype(&tcapi_set)>(dlsym(copy, "tcapi_set"));
    const auto commit = reinterpret_cast<decltype(&tcapi_commit)>(dlsym(copy, "tcapi_commit"));
    if (set("n", "a", "1") != 0 || commit("n") != 0) return 2;
    s_stage = 3;
    cut_lock();
    if (commit("n") != 0) return 4;
    s_stage = 42;
    return raise(SIGBUS);
  };
  EXPECT_EQ(end_of(start_process(body)), 42);
}

TEST_F(GenerationTest, LockFileThatCannotBeMadeAnewIsAnErrorAndNoneOfTheLevelIsLost) {
  ASSERT_EQ(tcapi_set("n", "a", "1"), 0);
  cut_lock();
  calls::count();
  EXPECT_EQ(errors_of([] { get("n", "a"); }), told());
  calls::stop();
  const int writing = calls::number_of("write");
  cut_lock();
  calls::fail_at_call(writing, ENOSPC);
  EXPECT_EQ(errors_of([] { EXPECT_EQ(get("n", "a"), "<none>"); }),
            told() + "tcapi: " + lock() + ": cannot be used: No space left on device\n");
  calls::stop();
  EXPECT_EQ(get("n", "a"), "1");
}

// Another process holds the level of before, a writer dies, a third process mends the word: the first one must learn of
// the new level.
TEST_F(GenerationTest, WriterThatDiedAfterTheRenameIsSeenByAllWhoeverMendsTheWord) {
  ASSERT_EQ(tcapi_set("n", "a", "old"), 0);
  ASSERT_EQ(get("n", "a"), "old");
  calls::count();
  ASSERT_EQ(tcapi_set("n", "a", "older"), 0);
  calls::stop();
  const int rename_step = 2 * calls::number_of("renameat");
  for (int round = 0; round < 3; ++round) {
    const std::string value = "new " + std::to_string(round);
    get("n", "a");
    ASSERT_EQ(end_of(start_process([&] {
                get("n", "a");
                calls::die_at_step(rename_step);
                return tcapi_set("n", "a", value.c_str());
              })),
              -SIGKILL);
    EXPECT_EQ(tool({"get", "n", "a"}).out, value + "\n");
    EXPECT_EQ(get("n", "a"), value);
  }
}

}  // namespace
