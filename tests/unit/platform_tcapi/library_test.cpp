// The five functions of the contract, in one process.
#include <thread>

#include "calls.h"
#include "fixture.h"

namespace {

using LibraryTest = StoreTest;

TEST_F(LibraryTest, ValueComesBackAsItWasSet) {
  EXPECT_EQ(tcapi_set("nuvek_Common", "UUID", "4f9d"), 0);
  EXPECT_EQ(get("nuvek_Common", "UUID"), "4f9d");
}

TEST_F(LibraryTest, EveryByteButNulSurvives) {
  for (int byte = 1; byte < 256; ++byte) {
    const char c = static_cast<char>(byte);
    const std::string value = {c, 'x', c, c};
    ASSERT_EQ(tcapi_set("n", "a", value.c_str()), 0);
    ASSERT_EQ(get("n", "a"), value) << "byte " << byte;
  }
}

TEST_F(LibraryTest, ValuesThatLookLikeTheFormatSurvive) {
  const char* values[] = {"", " ", " blanks ", "=", "[n]", "# end", "\n# end\n", "a=b", "\\n", "\\", "\r\n", "\t"};
  for (const char* value : values) {
    ASSERT_EQ(tcapi_set("n", "a", value), 0);
    EXPECT_EQ(get("n", "a"), value);
    ASSERT_EQ(tcapi_save(), 0);
    cut_power();
    ASSERT_EQ(tcapi_set("n", "other", value), 0);
    EXPECT_EQ(get("n", "a"), value) << "after a power cut";
  }
}

TEST_F(LibraryTest, LongestValueIsKeptAndALongerOneRefused) {
  const std::string longest(TCAPI_VALUE_MAX, '\\');
  EXPECT_EQ(tcapi_set("n", "a", longest.c_str()), 0);
  EXPECT_EQ(get("n", "a"), longest);
  int result = 0;
  const std::string errors = errors_of([&] { result = tcapi_set("n", "a", std::string(1024, 'v').c_str()); });
  EXPECT_NE(result, 0);
  EXPECT_EQ(errors, "tcapi: cannot set n a: the value is longer than 1023 characters\n");
  EXPECT_EQ(get("n", "a"), longest);
}

TEST_F(LibraryTest, MissingNodeOrAttributeLeavesTheBufferAlone) {
  tcapi_set("n", "a", "1");
  char value[TCAPI_VALUE_MAX + 1] = "as it was";
  EXPECT_NE(tcapi_get("n", "b", value), 0);
  EXPECT_NE(tcapi_get("m", "a", value), 0);
  EXPECT_NE(tcapi_get("", "", value), 0);
  EXPECT_STREQ(value, "as it was");
}

TEST_F(LibraryTest, EmptyValueIsNotAMissingOne) {
  tcapi_set("n", "a", "");
  EXPECT_EQ(get("n", "a"), "");
}

TEST_F(LibraryTest, NullArgumentsAreRefused) {
  char value[TCAPI_VALUE_MAX + 1];
  EXPECT_NE(tcapi_get(nullptr, "a", value), 0);
  EXPECT_NE(tcapi_get("n", nullptr, value), 0);
  EXPECT_NE(tcapi_get("n", "a", nullptr), 0);
  EXPECT_NE(tcapi_set(nullptr, "a", "v"), 0);
  EXPECT_NE(tcapi_set("n", nullptr, "v"), 0);
  EXPECT_NE(tcapi_set("n", "a", nullptr), 0);
  EXPECT_NE(tcapi_commit(nullptr), 0);
}

TEST_F(LibraryTest, NamesThatWouldBreakTheFormatAreRefused) {
  const std::string names[] = {"", "a b", "a=b", "a]", "[a", "a\nb", "#a", "a\tb", "\xc3\xa4", std::string(64, 'n')};
  tcapi_set("n", "a", "1");
  const std::string before = read_file(level());
  for (const std::string& name : names) {
    EXPECT_NE(tcapi_set(name.c_str(), "a", "v"), 0) << name;
    EXPECT_NE(tcapi_set("n", name.c_str(), "v"), 0) << name;
  }
  EXPECT_EQ(read_file(level()), before);
  EXPECT_EQ(tcapi_set(std::string(63, 'n').c_str(), std::string(63, 'a').c_str(), "v"), 0);
}

TEST_F(LibraryTest, CommitKnowsTheNodes) {
  tcapi_set("n", "a", "1");
  EXPECT_EQ(tcapi_commit("n"), 0);
  EXPECT_NE(tcapi_commit("m"), 0);
  EXPECT_NE(tcapi_commit(""), 0);
}

TEST_F(LibraryTest, GetMakesNoSystemCallWhileNothingChanges) {
  tcapi_set("n", "a", "1");
  ASSERT_EQ(get("n", "a"), "1");
  char value[TCAPI_VALUE_MAX + 1];
  calls::count();
  for (int i = 0; i < 1000; ++i) tcapi_get("n", "a", value);
  tcapi_get("n", "missing", value);
  tcapi_commit("n");
  EXPECT_EQ(calls::stop(), 0);
}

TEST_F(LibraryTest, SettingTheSameValueAgainWritesNothing) {
  tcapi_set("n", "a", "1");
  calls::count();
  EXPECT_EQ(tcapi_set("n", "a", "1"), 0);
  calls::stop();
  EXPECT_EQ(calls::names().find("write"), std::string::npos) << calls::names();
}

TEST_F(LibraryTest, ThreadsShareTheStore) {
  constexpr int kThreads = 4;
  constexpr int kRounds = 50;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([t] {
      const std::string attr = "thread" + std::to_string(t);
      for (int i = 0; i < kRounds; ++i) {
        EXPECT_EQ(tcapi_set("n", attr.c_str(), std::to_string(i).c_str()), 0);
        EXPECT_EQ(get("n", attr), std::to_string(i));
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (int t = 0; t < kThreads; ++t) EXPECT_EQ(get("n", "thread" + std::to_string(t)), std::to_string(kRounds - 1));
}

TEST_F(LibraryTest, ConsoleIsStandardError) {
  int printed = 0;
  const std::string text = errors_of([&] { printed = tcdbg_printf("%s is %d\n", "answer", 42); });
  EXPECT_EQ(text, "answer is 42\n");
  EXPECT_EQ(printed, 13);
}

}  // namespace
