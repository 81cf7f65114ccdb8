// Processes killed in the middle of their work: the level is the old one or the new one, and nobody else is held up.
#include <sys/mman.h>

#include <atomic>
#include <csignal>

#include "calls.h"
#include "fixture.h"

namespace {

class CrashTest : public StoreTest {
 protected:
  // Runs the body in a process that is killed at step 1, then in one that is killed at step 2, and so on until one
  // lives to its end. After each death the check looks at what is left.
  template <typename Prepare, typename Body, typename Check>
  static void kill_at_every_step(const Prepare& prepare, const Body& body, const Check& look) {
    constexpr int kTooManySteps = 500;
    int step = 0;
    int end = -SIGKILL;
    while (end == -SIGKILL && ++step < kTooManySteps) {
      prepare();
      end = end_of(start_process([&] {
        calls::die_at_step(step);
        return body();
      }));
      SCOPED_TRACE("killed at step " + std::to_string(step));
      look();
    }
    EXPECT_EQ(end, 0);
    EXPECT_GT(step, 20) << "the calls do not pass through the test program";
  }

  // This process and a new one must agree.
  void expect_old_or_new() const {
    const std::string value = get("n", "a");
    EXPECT_TRUE(value == "old" || value == "new") << value;
    EXPECT_EQ(tool({"get", "n", "a"}).out, value + "\n");
    EXPECT_EQ(get("n", "kept"), "as it was");
  }
};

TEST_F(CrashTest, KilledWhileItSets) {
  kill_at_every_step(
      [] {
        ASSERT_EQ(tcapi_set("n", "kept", "as it was"), 0);
        ASSERT_EQ(tcapi_set("n", "a", "old"), 0);
      },
      [] { return tcapi_set("n", "a", "new"); }, [this] { expect_old_or_new(); });
  EXPECT_EQ(get("n", "a"), "new");
}

TEST_F(CrashTest, KilledWhileItLoadsFlash) {
  write_file(flash(), "# tcapi store 1\n[n]\na=old\nkept=as it was\n# end\n");
  kill_at_every_step([this] { cut_power(); }, [] { return tcapi_set("n", "a", "new"); },
                     [this] {
                       const std::string fresh = tool({"get", "n", "a"}).out;
                       EXPECT_TRUE(fresh == "old\n" || fresh == "new\n") << fresh;
                       expect_old_or_new();
                     });
}

TEST_F(CrashTest, KilledWhileItMakesTheStore) {
  int run = 0;
  kill_at_every_step([&] { use_folder(home_ + "/deep/" + std::to_string(++run)); },
                     [] { return tcapi_set("n", "a", "new"); },
                     [] {
                       const std::string value = get("n", "a");
                       EXPECT_TRUE(value == "<none>" || value == "new") << value;
                       EXPECT_EQ(tcapi_set("n", "b", "after"), 0);
                       EXPECT_EQ(get("n", "b"), "after");
                     });
}

TEST_F(CrashTest, KilledWhileItSaves) {
  const std::string old_text = "# tcapi store 1\n[n]\na=old\n# end\n";
  const std::string new_text = "# tcapi store 1\n[n]\na=new\n# end\n";
  kill_at_every_step(
      [] {
        tcapi_set("n", "a", "old");
        ASSERT_EQ(tcapi_save(), 0);
        tcapi_set("n", "a", "new");
      },
      [] { return tcapi_save(); },
      [&] {
        const std::string text = read_file(flash());
        EXPECT_TRUE(text == old_text || text == new_text) << text;
        EXPECT_EQ(get("n", "a"), "new");
      });
  EXPECT_EQ(read_file(flash()), new_text);
}

// The store as a power cut finds it. What is cut here is the process; that a save brings the text to the disk ahead of
// its name, so that no later step outlives an earlier one, is store_test's to hold. Each save changes all three
// attributes, so that a mixture of two levels shows.
class PowerCutTest : public CrashTest {
 protected:
  static int set_all(const std::string& value) {
    for (const char* attr : {"first", "middle", "last"}) {
      if (tcapi_set("n", attr, value.c_str()) != 0) return 1;
    }
    return 0;
  }

  static void save_level(const std::string& value) {
    ASSERT_EQ(set_all(value), 0);
    ASSERT_EQ(tcapi_save(), 0);
  }

  // Cuts the power: the first process of the next start, and so all others, must find one whole level, old or new.
  void expect_one_level(const std::string& old_value, const std::string& new_value) const {
    cut_power();
    const std::string found = tool({"get", "n", "first"}).out;
    EXPECT_TRUE(found == old_value + "\n" || found == new_value + "\n") << found;
    for (const char* attr : {"first", "middle", "last"}) EXPECT_EQ(get("n", attr) + "\n", found);
  }

  // And it goes on from there.
  void expect_saving() const {
    save_level("later");
    cut_power();
    EXPECT_EQ(get("n", "last"), "later");
  }
};

TEST_F(PowerCutTest, AtEveryStepOfASave) {
  bool was_old = false;
  kill_at_every_step(
      [] {
        save_level("old level");
        ASSERT_EQ(set_all("the new level"), 0);
      },
      [] { return tcapi_save(); },
      [&] {
        expect_one_level("old level", "the new level");
        was_old = was_old || get("n", "first") == "old level";
      });
  EXPECT_TRUE(was_old) << "no cut came in time to matter";
  EXPECT_EQ(get("n", "first"), "the new level");
  expect_saving();
}

TEST_F(PowerCutTest, AtEveryByteThatASaveWrites) {
  save_level("the new level");
  const size_t size = read_file(flash()).size();
  for (size_t byte = 1; byte <= size; ++byte) {
    SCOPED_TRACE("cut at byte " + std::to_string(byte));
    save_level("old level");
    ASSERT_EQ(set_all("the new level"), 0);
    ASSERT_EQ(end_of(start_process([&] {
                calls::die_at_byte(byte);
                return tcapi_save();
              })),
              -SIGKILL);
    EXPECT_EQ(read_file(folder_ + "/flash.new").size(), byte);
    expect_one_level("old level", "old level");
  }
  expect_saving();
}

// From the first change to the end of the save: what the live level held alone is gone, never a part of it.
TEST_F(PowerCutTest, AtBytesAllOverChangesAndASave) {
  constexpr size_t kStride = 7;
  int end = -SIGKILL;
  size_t byte = 0;
  while (end == -SIGKILL) {
    byte += kStride;
    SCOPED_TRACE("cut at byte " + std::to_string(byte));
    save_level("old level");
    end = end_of(start_process([&] {
      calls::die_at_byte(byte);
      return set_all("the new level") != 0 || tcapi_save() != 0;
    }));
    expect_one_level("old level", end == 0 ? "the new level" : "old level");
  }
  EXPECT_EQ(end, 0);
  EXPECT_GT(byte, 3 * read_file(flash()).size()) << "three changes and a save each write the store";
  expect_saving();
}

TEST_F(PowerCutTest, LeavesATornNewFileThatNobodyReads) {
  save_level("old level");
  const std::string sound = read_file(flash());
  const std::string next = std::string("# tcapi store 1\n[n]\nfirst=new\n# end\n");
  for (size_t size = 0; size <= next.size(); ++size) {
    SCOPED_TRACE("torn after byte " + std::to_string(size));
    write_file(flash(), sound);
    write_file(folder_ + "/flash.new", next.substr(0, size));
    expect_one_level("old level", "old level");
    write_file(folder_ + "/live/level.new", next.substr(0, size));
    EXPECT_EQ(tool({"get", "n", "last"}).out, "old level\n");
    expect_saving();
  }
}

TEST_F(PowerCutTest, LeavesATornNewFileAndNoOtherWhenItWasTheFirstSave) {
  write_file(folder_ + "/flash.new", "# tcapi store 1\n[n]\nfirst=ne");
  EXPECT_EQ(get("n", "first"), "<none>");
  expect_saving();
}

// At any moment, not only between calls: the reader sees each value that the writer was told to be set.
TEST_F(CrashTest, KilledAtAnyMomentLosesNothingThatWasAcknowledged) {
  constexpr int kDeaths = 40;
  auto* const done = static_cast<std::atomic<int>*>(
      mmap(nullptr, sizeof(std::atomic<int>), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
  ASSERT_NE(static_cast<void*>(done), MAP_FAILED);
  ASSERT_EQ(tcapi_set("n", "count", "0"), 0);
  for (int death = 0; death < kDeaths; ++death) {
    const int begin = *done;
    const pid_t writer = start_process([&] {
      for (int next = *done + 1; tcapi_set("n", "count", std::to_string(next).c_str()) == 0; ++next) *done = next;
      return 1;
    });
    int seen = begin;
    // Each death after a different number of changes, and at whatever place that happens to be.
    while (*done < begin + 1 + death % 7) {
      const int count = std::stoi(get("n", "count"));
      ASSERT_GE(count, seen);
      seen = count;
    }
    kill(writer, SIGKILL);
    EXPECT_EQ(end_of(writer), -SIGKILL);
    const int count = std::stoi(get("n", "count"));
    EXPECT_TRUE(count == *done || count == *done + 1) << count << " after " << *done;
    *done = count;
  }
  munmap(done, sizeof(std::atomic<int>));
}

}  // namespace
