// The device's UUID. Expected texts were computed independently from time, sequence and node (Python's uuid module
// reads the same fields back out of them).
//
// The generator's memory lives as long as the process and is never reset. It takes a clock at zero seconds and zero
// microseconds for "never used", so a UUID made at that instant lets each test begin with a first use, in whatever
// order tests run.
#include <dlfcn.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "agent/ident/uuid_steps.h"
#include "tests/support/world.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;

namespace {

constexpr int kDrawn = 100;     // the descriptor number that tests let the generator draw
constexpr int kReadLimit = 18;  // failed reads in a row that end the reading
constexpr uint8_t kNode[kMacSize] = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55};

// One attempt to read the drawn descriptor: nothing there, bytes, the end of the data, or an error.
struct Attempt {
  enum Kind { nothing, bytes, end, error } kind;
  std::string data;
};

// What the drawn descriptor has to give, when a test scripts it.
struct Script {
  bool on = false;
  std::deque<Attempt> attempts;  // afterwards nothing
  int asked = 0;
};
Script g_script;

}  // namespace

extern "C" {

int poll(pollfd* requests, nfds_t count, int timeout_ms) {
  static auto* const real_poll = reinterpret_cast<int (*)(pollfd*, nfds_t, int)>(dlsym(RTLD_NEXT, "poll"));
  if (!g_script.on || count != 1 || requests->fd != kDrawn) return real_poll(requests, count, timeout_ms);
  EXPECT_EQ(timeout_ms, 0);  // the agent never waits here
  ++g_script.asked;
  if (g_script.attempts.empty()) return 0;
  if (g_script.attempts.front().kind == Attempt::nothing) {
    g_script.attempts.pop_front();
    return 0;
  }
  requests->revents = POLLIN;
  return 1;
}

ssize_t read(int fd, void* data, size_t size) {
  static auto* const real_read = reinterpret_cast<ssize_t (*)(int, void*, size_t)>(dlsym(RTLD_NEXT, "read"));
  if (!g_script.on || fd != kDrawn) return real_read(fd, data, size);
  const Attempt attempt = g_script.attempts.front();
  g_script.attempts.pop_front();
  if (attempt.kind == Attempt::error) {
    errno = EIO;
    return -1;
  }
  EXPECT_LE(attempt.data.size(), size);
  memcpy(data, attempt.data.data(), attempt.data.size());
  return static_cast<ssize_t>(attempt.data.size());
}

// The same as a hardened build calls them.
int __poll_chk(pollfd* requests, nfds_t count, int timeout_ms, size_t) { return poll(requests, count, timeout_ms); }
ssize_t __read_chk(int fd, void* data, size_t size, size_t) { return read(fd, data, size); }

}  // extern "C"

namespace {

class UuidTest : public AgentTest {
 protected:
  UuidTest() {
    close(kDrawn);
    world().set_clock(0, 0);
    world().randoms = {kDrawn};
    make();
    world().set_clock(kNow_s, 123456);
    world().randoms.clear();
    world().rands.clear();
    world().on_gettimeofday = [this] { move_a_clock_that_is_waited_for(); };
  }
  ~UuidTest() override { g_script = {}; }

  static std::string make() {
    char text[kUuidTextSize] = "";
    EXPECT_EQ(uuid_generateUuidStr(text, sizeof text, kNode), 36);
    return text;
  }
  // The next first use: nothing to read, so that the two mixing bytes are the sequence.
  static void draw(int first_byte, int second_byte) {
    world().randoms = {kDrawn};
    world().rands = {first_byte << 7, second_byte << 7};
  }
  static void script(std::deque<Attempt> attempts) {
    g_script = {true, std::move(attempts), 0};
    draw(0, 0);
  }
  static std::string sequence_of(const std::string& uuid) { return uuid.substr(19, 4); }
  static std::deque<Attempt> nothing(size_t times) { return std::deque<Attempt>(times, Attempt{Attempt::nothing, ""}); }
  static Attempt gives(const std::string& bytes) { return {Attempt::bytes, bytes}; }

 private:
  // The generator waits for the clock where no test expects it to: let it go on, and say so.
  void move_a_clock_that_is_waited_for() {
    if (++looks_ % 100000 != 0) return;
    ADD_FAILURE() << "the generator waits for a clock that stands still";
    world().advance(1);
  }
  int looks_ = 0;
};

using MacTest = AgentTest;

class CreateUuidTest : public UuidTest {
 protected:
  CreateUuidTest() { draw(0x12, 0x34); }
};

class RandomUuidTest : public AgentTest {
 protected:
  static void source(const std::string& content) {
    std::filesystem::create_directories(world().root + "/proc/sys/kernel/random");
    world().write_file("/proc/sys/kernel/random/uuid", content);
  }
};

}  // namespace

// --- time and adjustment ---------------------------------------------------------------------------------------------

TEST_F(UuidTest, AUuidHoldsTimeSequenceAndNode) {
  draw(0x12, 0x34);
  EXPECT_EQ(make(), "04c29680-833b-11ee-9234-001122334455");
}

TEST_F(UuidTest, TheEarliestAndTheLatestTrustedTime) {
  world().set_clock(1483200001, 0);
  draw(0, 0);
  EXPECT_EQ(make(), "2f68d680-cf72-11e6-8000-001122334455");
  world().set_clock(2147483647, 999999);
  EXPECT_EQ(make(), "13813ff6-6912-11fe-8000-001122334455");
}

TEST_F(UuidTest, TimeGoesOnPastTheEndOfSignedTime) {
  world().set_clock(2147483647, 999999);
  draw(0, 0);
  EXPECT_EQ(make(), "13813ff6-6912-11fe-8000-001122334455");
  world().set_clock(2147483648, 0);
  EXPECT_EQ(make(), "13814000-6912-11fe-8000-001122334455");
}

TEST_F(UuidTest, UuidsOfOneMicrosecondDifferInTheLastDigitOfTheTime) {
  draw(0x12, 0x34);
  EXPECT_EQ(make(), "04c29680-833b-11ee-9234-001122334455");
  EXPECT_EQ(make(), "04c29681-833b-11ee-9234-001122334455");
  EXPECT_EQ(make(), "04c29682-833b-11ee-9234-001122334455");
}

TEST_F(UuidTest, AfterTenAdjustmentsTheEleventhWaitsForTheClockToMove) {
  draw(0x12, 0x34);
  make();
  for (int adjusted = 1; adjusted <= 10; ++adjusted) make();
  int looks = 0;
  world().on_gettimeofday = [&] {
    if (++looks == 5) world().advance(0, 2);
  };
  EXPECT_EQ(make(), "04c29694-833b-11ee-9234-001122334455");
  EXPECT_EQ(looks, 5);
}

// Ten steps of 100 ns are a microsecond: the last adjustment reads as the next microsecond does.
TEST_F(UuidTest, TheTenthAdjustmentHasTheTimeOfTheNextMicrosecond) {
  draw(0x12, 0x34);
  make();
  for (int adjusted = 1; adjusted <= 9; ++adjusted) make();
  EXPECT_EQ(make(), "04c2968a-833b-11ee-9234-001122334455");
  world().advance(0, 1);
  EXPECT_EQ(make(), "04c2968a-833b-11ee-9234-001122334455");
}

TEST_F(UuidTest, AClockThatMovedOnStartsWithoutAdjustment) {
  draw(0x12, 0x34);
  make();
  make();
  world().advance(0, 1);
  EXPECT_EQ(make(), "04c2968a-833b-11ee-9234-001122334455");
  world().advance(0, 10);
  EXPECT_EQ(make(), "04c296ee-833b-11ee-9234-001122334455");
}

TEST_F(UuidTest, ALaterSecondWithFewerMicrosecondsIsLater) {
  draw(0x12, 0x34);
  world().set_clock(kNow_s - 1, 999999);
  make();
  world().set_clock(kNow_s, 0);
  EXPECT_EQ(make(), "04afc000-833b-11ee-9234-001122334455");
}

// --- a clock that steps back -----------------------------------------------------------------------------------------

TEST_F(UuidTest, AClockBackByAMicrosecondAdvancesTheSequenceByOne) {
  draw(0x12, 0x34);
  make();
  make();
  world().set_clock(kNow_s, 123455);
  EXPECT_EQ(make(), "04c29676-833b-11ee-9235-001122334455");
  EXPECT_EQ(make(), "04c29677-833b-11ee-9235-001122334455");
}

TEST_F(UuidTest, AClockBackByASecondWithMoreMicrosecondsAdvancesTheSequenceByOne) {
  draw(0x12, 0x34);
  make();
  world().set_clock(kNow_s - 1, 999999);
  EXPECT_EQ(make(), "04afbff6-833b-11ee-9235-001122334455");
}

TEST_F(UuidTest, EachStepBackAdvancesTheSequenceAndMovingOnKeepsIt) {
  draw(0x12, 0x34);
  make();
  world().advance(-5);
  EXPECT_EQ(sequence_of(make()), "9235");
  world().advance(2);
  EXPECT_EQ(sequence_of(make()), "9235");
  world().advance(-100);
  EXPECT_EQ(sequence_of(make()), "9236");
}

TEST_F(UuidTest, TheSequenceWrapsAt16384) {
  draw(0x3f, 0xff);
  EXPECT_EQ(sequence_of(make()), "bfff");
  world().advance(-1);
  EXPECT_EQ(sequence_of(make()), "8000");
}

// --- drawing the sequence --------------------------------------------------------------------------------------------

TEST_F(UuidTest, OnlyTheLow14BitsOfTheSequenceAreKept) {
  draw(0xff, 0xff);
  EXPECT_EQ(sequence_of(make()), "bfff");
}

TEST_F(UuidTest, TheMixingBytesAreBits7To14OfTheDraws) {
  world().randoms = {kDrawn};
  world().rands = {(0x7f00 | 0x12) << 7 | 0x7f, 0x34 << 7 | 0x7f};
  EXPECT_EQ(sequence_of(make()), "9234");
}

TEST_F(UuidTest, TheSequenceIsDrawnOnFirstUseOnly) {
  draw(0x12, 0x34);
  make();
  world().randoms = {5};
  world().rands = {6};
  world().advance(1);
  make();
  EXPECT_EQ(world().randoms.size(), 1U);
  EXPECT_EQ(world().rands.size(), 1U);
}

TEST_F(UuidTest, ADrawnDescriptorBelow3IsDrawnAgainAndTheNumberIsTakenModulo128) {
  g_script = {true, {gives("\x12\x34")}, 0};
  world().randoms = {0, 1, 2, 128, 129, 256 + 2, 128 * 7 + kDrawn, 77};
  world().rands = {0, 0};
  EXPECT_EQ(sequence_of(make()), "9234");
  EXPECT_THAT(world().randoms, ElementsAre(77));
}

TEST_F(UuidTest, BytesOfTheDrawnDescriptorAreMixedWithTheDraws) {
  g_script = {true, {gives("\x12\x34")}, 0};
  draw(0x03, 0x50);
  EXPECT_EQ(sequence_of(make()), "9164");
  EXPECT_EQ(g_script.asked, 1);
}

TEST_F(UuidTest, ARealDescriptorIsReadAndKeepsTheRestOfItsData) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  ASSERT_EQ(dup2(ends[0], kDrawn), kDrawn);
  ASSERT_EQ(write(ends[1], "\x12\x34rest", 6), 6);
  draw(0, 0);
  EXPECT_EQ(sequence_of(make()), "9234");
  char rest[8] = "";
  EXPECT_EQ(read(kDrawn, rest, sizeof rest), 4);
  EXPECT_STREQ(rest, "rest");
  for (const int fd : {ends[0], ends[1], kDrawn}) close(fd);
}

TEST_F(UuidTest, AnOpenDescriptorWithoutDataDoesNotHoldTheAgent) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  ASSERT_EQ(dup2(ends[0], kDrawn), kDrawn);
  draw(0x12, 0x34);
  EXPECT_EQ(sequence_of(make()), "9234");
  for (const int fd : {ends[0], ends[1], kDrawn}) close(fd);
}

TEST_F(UuidTest, TwoBytesMayComeOneByOne) {
  script({gives("\x12"), gives("\x34")});
  EXPECT_EQ(sequence_of(make()), "9234");
}

TEST_F(UuidTest, ADescriptorWithoutDataIsGivenUpAfter18FailedReads) {
  script({});
  EXPECT_EQ(sequence_of(make()), "8000");
  EXPECT_EQ(g_script.asked, kReadLimit);
}

TEST_F(UuidTest, SeventeenFailedReadsAreForgivenAndEachSuccessStartsTheCountAnew) {
  std::deque<Attempt> attempts = nothing(17);
  attempts.push_back(gives("\x12"));
  for (const Attempt& attempt : nothing(17)) attempts.push_back(attempt);
  attempts.push_back(gives("\x34"));
  script(attempts);
  EXPECT_EQ(sequence_of(make()), "9234");
  EXPECT_EQ(g_script.asked, 36);
}

TEST_F(UuidTest, AByteThatWasReadBeforeTheLimitIsKept) {
  script({gives("\x12")});
  EXPECT_EQ(sequence_of(make()), "9200");
  EXPECT_EQ(g_script.asked, 1 + kReadLimit);
}

TEST_F(UuidTest, TheEndOfTheDataAndReadErrorsCountAsFailedReads) {
  std::deque<Attempt> attempts(9, Attempt{Attempt::end, ""});
  attempts.insert(attempts.end(), 9, Attempt{Attempt::error, ""});
  attempts.push_back(gives("\x12\x34"));
  script(attempts);
  EXPECT_EQ(sequence_of(make()), "8000");
  EXPECT_EQ(g_script.asked, kReadLimit);
}

// --- form ------------------------------------------------------------------------------------------------------------

TEST_F(UuidTest, VersionAndVariantStandInTheirPlacesWhateverTheTimeAndSequence) {
  for (int step = 0; step < 2000; ++step) {
    world().set_clock(kNow_s + (step * 7919) % 100000, step * 499 % 1000000);
    const std::string uuid = make();
    EXPECT_THAT(uuid, MatchesRegex("[0-9a-f]+-[0-9a-f]+-1[0-9a-f]+-[89ab][0-9a-f]+-001122334455"));
    EXPECT_EQ(uuid.size(), 36U);
    EXPECT_EQ(uuid[14], '1');
    EXPECT_NE(std::string("89ab").find(uuid[19]), std::string::npos);
  }
}

TEST_F(UuidTest, ABufferThatIsTooSmallIsFilledAndTheWholeLengthReturned) {
  draw(0x12, 0x34);
  char text[12];
  memset(text, '#', sizeof text);
  EXPECT_EQ(uuid_generateUuidStr(text, 11, kNode), 36);
  EXPECT_STREQ(text, "04c29680-8");
  EXPECT_EQ(text[11], '#');
}

TEST(UuidPack, FieldsArePackedBigEndianInOrder) {
  const Uuid uuid = {0x01020304, 0x0506, 0x0708, 0x090a, {0x0b, 0x0c, 0x0d, 0x0e, 0x0f, 0xff}};
  uint8_t packed[17];
  memset(packed, 0xee, sizeof packed);
  uuid_pack(uuid, packed);
  EXPECT_THAT(packed, ElementsAre(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 255, 0xee));
}

// --- MAC texts -------------------------------------------------------------------------------------------------------

TEST_F(MacTest, SixGroupsBecomeSixBytes) {
  uint8_t node[kMacSize] = {};
  nuvek_macStrToNum("00:11:22:33:44:55", node);
  EXPECT_THAT(node, ElementsAre(0x00, 0x11, 0x22, 0x33, 0x44, 0x55));
  nuvek_macStrToNum("aB:Cd:eF:0:7:fF", node);
  EXPECT_THAT(node, ElementsAre(0xab, 0xcd, 0xef, 0x00, 0x07, 0xff));
}

TEST_F(MacTest, OnlyTheLow8BitsOfAGroupAreKept) {
  uint8_t node[kMacSize] = {};
  nuvek_macStrToNum("1ff:-1:0xa:z:100:5", node);  // a prefix and a sign are read; a word is 0
  EXPECT_THAT(node, ElementsAre(0xff, 0xff, 0x0a, 0x00, 0x00, 0x05));
}

TEST_F(MacTest, AGroupBeyondTheDevices32BitNumbersSaturates) {
  uint8_t node[kMacSize] = {};
  nuvek_macStrToNum("7fffff00:80000000", node);
  EXPECT_THAT(node, ElementsAre(0x00, 0xff, 0, 0, 0, 0));
  nuvek_macStrToNum("-800000ff", node);
  EXPECT_THAT(node, ElementsAre(0x00, 0xff, 0, 0, 0, 0));
}

TEST_F(MacTest, ATextOf18CharactersIsRead) {
  uint8_t node[kMacSize] = {};
  nuvek_macStrToNum("00:11:22:33:44:0ff", node);
  EXPECT_THAT(node, ElementsAre(0x00, 0x11, 0x22, 0x33, 0x44, 0xff));
}

TEST_F(MacTest, ATextOf19CharactersIsRefusedAndNothingWritten) {
  uint8_t node[kMacSize] = {9, 9, 9, 9, 9, 9};
  EXPECT_THAT(log_lines([&] { nuvek_macStrToNum("00:11:22:33:44:00ff", node); }), IsEmpty());
  EXPECT_THAT(node, ElementsAre(9, 9, 9, 9, 9, 9));
}

TEST_F(MacTest, AMissingGroupLeavesItsByteAsItWas) {
  uint8_t node[kMacSize] = {9, 9, 9, 9, 9, 9};
  nuvek_macStrToNum("00:11:22:33:44", node);
  EXPECT_THAT(node, ElementsAre(0x00, 0x11, 0x22, 0x33, 0x44, 9));
  nuvek_macStrToNum("", node);
  EXPECT_THAT(node, ElementsAre(0x00, 0x11, 0x22, 0x33, 0x44, 9));
}

TEST_F(MacTest, AGroupBeyondTheSixthIsNotLookedAt) {
  uint8_t node[kMacSize + 1] = {0, 0, 0, 0, 0, 0, 9};
  nuvek_macStrToNum("1:2:3:4:5:6:7", node);
  EXPECT_THAT(node, ElementsAre(1, 2, 3, 4, 5, 6, 9));
}

TEST_F(MacTest, EmptyGroupsAreSkipped) {
  uint8_t node[kMacSize] = {};
  nuvek_macStrToNum(":1::2:3:4:5:6", node);
  EXPECT_THAT(node, ElementsAre(1, 2, 3, 4, 5, 6));
}

TEST_F(MacTest, AMissingTextIsAnErrorWithBothPointers) {
  uint8_t node[kMacSize] = {9, 9, 9, 9, 9, 9};
  char expected[128];
  snprintf(expected, sizeof expected, "ERROR nuvek_macStrToNum Invalid macNum/macStr %p/%p", static_cast<void*>(node),
           static_cast<void*>(nullptr));
  EXPECT_THAT(log_lines([&] { nuvek_macStrToNum(nullptr, node); }), ElementsAre(expected));
  EXPECT_THAT(node, ElementsAre(9, 9, 9, 9, 9, 9));
}

TEST_F(MacTest, AMissingOutputIsAnErrorWithBothPointers) {
  const char* mac = "00:11:22:33:44:55";
  char expected[128];
  snprintf(expected, sizeof expected, "ERROR nuvek_macStrToNum Invalid macNum/macStr %p/%p",
           static_cast<void*>(nullptr), static_cast<const void*>(mac));
  EXPECT_THAT(log_lines([&] { nuvek_macStrToNum(mac, nullptr); }), ElementsAre(expected));
}

// --- the device's own UUID -------------------------------------------------------------------------------------------

TEST_F(CreateUuidTest, ItIsMadeFromTheDevicesMacAndKeptInRecordAndStore) {
  strcpy(g_devinfo.DevMacRaw, "00:11:22:33:44:55");
  EXPECT_EQ(nuvek_create_uuid(&g_devinfo), 0);
  EXPECT_STREQ(g_devinfo.UUID, "04c29680-833b-11ee-9234-001122334455");
  EXPECT_THAT(world().calls(),
              ElementsAre("set nuvek_Common UUID=04c29680-833b-11ee-9234-001122334455", "commit nuvek_Common", "save"));
}

TEST_F(CreateUuidTest, ItLogsNothing) {
  EXPECT_THAT(log_lines([] { nuvek_create_uuid(&g_devinfo); }), IsEmpty());
}

TEST_F(CreateUuidTest, ItChangesNoOtherField) {
  strcpy(g_devinfo.DevMacRaw, "00:11:22:33:44:55");
  strcpy(g_devinfo.RegID, "REG");
  strcpy(g_devinfo.reportInfo.GISInterface, "A");
  DevInfo expected = g_devinfo;
  nuvek_create_uuid(&g_devinfo);
  memcpy(expected.UUID, g_devinfo.UUID, sizeof expected.UUID);
  EXPECT_EQ(memcmp(&g_devinfo, &expected, sizeof expected), 0);
}

TEST_F(CreateUuidTest, WithoutAMacTheNodeIsZero) {
  nuvek_create_uuid(&g_devinfo);
  EXPECT_STREQ(g_devinfo.UUID, "04c29680-833b-11ee-9234-000000000000");
}

TEST_F(CreateUuidTest, ARefusedMacGivesANodeOfZeros) {
  strcpy(g_devinfo.DevMacRaw, "00:11:22:33:44:55:66");
  nuvek_create_uuid(&g_devinfo);
  EXPECT_STREQ(g_devinfo.UUID, "04c29680-833b-11ee-9234-000000000000");
}

TEST_F(CreateUuidTest, ALongerUuidIsReplacedWhole) {
  strcpy(g_devinfo.UUID, std::string(63, 'u').c_str());
  nuvek_create_uuid(&g_devinfo);
  EXPECT_EQ(strlen(g_devinfo.UUID), 36U);
}

TEST_F(CreateUuidTest, ItReturnsWhatTheSaveReturnedAndIgnoresTheOtherAnswers) {
  world().write_result = -7;
  EXPECT_EQ(nuvek_create_uuid(&g_devinfo), -7);
  EXPECT_EQ(world().writes().size(), 3U);
  EXPECT_EQ(strlen(g_devinfo.UUID), 36U);
}

// --- the kernel's random UUID ----------------------------------------------------------------------------------------

TEST_F(RandomUuidTest, TheLineIsReadWithoutItsEndAndItsLengthCounted) {
  source("0b3d8c52-7a6e-4d7f-9a61-1f0c2d3e4b5a\n");
  char text[64];
  memset(text, '#', sizeof text);
  EXPECT_EQ(nuvek_getRandomUuid(text, sizeof text), 37);
  EXPECT_STREQ(text, "0b3d8c52-7a6e-4d7f-9a61-1f0c2d3e4b5a");
  EXPECT_EQ(std::string(text + 36, 28), std::string(28, '\0'));
}

TEST_F(RandomUuidTest, OnlyTheFirstLineIsRead) {
  source("first\nsecond\n");
  char text[64];
  EXPECT_EQ(nuvek_getRandomUuid(text, sizeof text), 6);
  EXPECT_STREQ(text, "first");
}

TEST_F(RandomUuidTest, TheLastCharacterGoesEvenWhenItIsNoLineEnd) {
  source("abcdef");
  char text[64];
  EXPECT_EQ(nuvek_getRandomUuid(text, sizeof text), 6);
  EXPECT_STREQ(text, "abcde");
  EXPECT_EQ(nuvek_getRandomUuid(text, 4), 3);
  EXPECT_STREQ(text, "ab");
}

TEST_F(RandomUuidTest, AnEmptySourceGivesAnEmptyTextOfNoLength) {
  source("");
  char text[4] = "xyz";
  EXPECT_EQ(nuvek_getRandomUuid(text, sizeof text), 0);
  EXPECT_STREQ(text, "");
}

TEST_F(RandomUuidTest, AMissingSourceIsAnErrorAndLeavesTheBuffer) {
  char text[8] = "before";
  int result = -1;
  EXPECT_THAT(
      log_lines([&] { result = nuvek_getRandomUuid(text, sizeof text); }),
      ElementsAre("ERROR nuvek_getRandomUuid failed to open file " + world().root + "/proc/sys/kernel/random/uuid"));
  EXPECT_EQ(result, 0);
  EXPECT_STREQ(text, "before");
}

TEST_F(RandomUuidTest, TheKernelGivesAUuid) {
  setenv("NUVEK_ROOT", "", 1);
  char text[kUuidTextSize + 1];
  EXPECT_EQ(nuvek_getRandomUuid(text, sizeof text), 37);
  EXPECT_THAT(text, MatchesRegex("[0-9a-f]+-[0-9a-f]+-4[0-9a-f]+-[89ab][0-9a-f]+-[0-9a-f]+"));
  EXPECT_EQ(strlen(text), 36U);
}
