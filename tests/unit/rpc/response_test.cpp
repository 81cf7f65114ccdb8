// The receiving side of the platform link: blocks, responses, objects and their envelopes.
#include <unistd.h>

#include <cstring>

#include "agent/base/counters.h"
#include "agent/link/server_steps.h"
#include "agent/rpc/response_steps.h"
#include "agent/tasks/back_off.h"
#include "tests/support/world.h"
#include "tests/unit/link/closed_by.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

using Lines = std::vector<std::string>;

const std::string kOkLine = "HTTP/1.1 200 OK\r\n";

std::string with_length(const std::string& body, const std::string& length) {
  return kOkLine + "Content-Type: application/json\r\nContent-Length: " + length + "\r\n\r\n" + body;
}

std::string array_of(const Lines& objects) {
  std::string array = "[\"uuid\"";
  for (const std::string& object : objects) array += "," + object;
  return array + "]";
}

// The platform's answer with these objects.
std::string answer(const Lines& objects) {
  const std::string body = array_of(objects);
  return with_length(body, std::to_string(body.size()));
}

std::string result_response(int id, int code) {
  return "{\"RPCMethod\":\"ResultResponse\",\"ID\":" + std::to_string(id) + ",\"Code\":" + std::to_string(code) + "}";
}

// Makes an answer `length` characters long by a header of its own.
std::string padded_answer(const Lines& objects, size_t length) {
  std::string text = answer(objects);
  const std::string name = "X-Pad: \r\n";
  text.insert(kOkLine.size(), "X-Pad: " + std::string(length - text.size() - name.size(), 'p') + "\r\n");
  EXPECT_EQ(text.size(), length);
  return text;
}

class Response : public AgentTest {
 protected:
  Response() : fd_(g_server_Arg.fd) {}

  int parse(const std::string& block) {
    return watched([&] { return read_in_place(block, nuvek_parse_RecvData); });
  }
  int parse_single(const std::string& text) {
    return watched([&] { return read_in_place(text, nuvek_parse_RecvDataSingle); });
  }
  int process() {
    return watched([] { return nuvek_serverProcess(g_connection, &g_devinfo, &g_server_Arg); });
  }

  // A text in a buffer that has just the room it needs, which is as it was afterwards.
  static int read_in_place(const std::string& text, int (*parse)(char*, DevInfo*, ServerArg*)) {
    std::vector<char> buffer(text.begin(), text.end());
    buffer.resize(text.size() + kBlockRoom);
    const std::vector<char> before = buffer;
    const int result = parse(buffer.data(), &g_devinfo, &g_server_Arg);
    EXPECT_EQ(buffer, before);
    return result;
  }

  // The objects that `action` dispatched, as their log lines have them.
  static Lines dispatched_by(const std::function<void()>& action) {
    constexpr char kPrefix[] = "DEBUG nuvek_parse_RecvDataSingle json_str:";
    Lines objects;
    for (const std::string& line : log_lines(action)) {
      if (line.rfind(kPrefix, 0) == 0) objects.push_back(line.substr(strlen(kPrefix)));
    }
    return objects;
  }

  // The whole road of one response that is refused: result -1, nothing dispatched, closed once.
  void expect_refused(const std::string& text) {
    EXPECT_THAT(dispatched_by([&] { EXPECT_EQ(parse_single(text), -1); }), IsEmpty());
    expect_closed();
  }
  void expect_closed() {
    EXPECT_EQ(g_server_Arg.fd, -1);
    EXPECT_THAT(closed_, ElementsAre(fd_));
  }
  void expect_open() {
    EXPECT_EQ(g_server_Arg.fd, fd_);
    EXPECT_THAT(closed_, IsEmpty());
  }

  ConnectedPlatform platform_;
  const int fd_;

 private:
  int watched(const std::function<int()>& call) {
    int result = 0;
    for (const int fd : closed_by([&] { result = call(); })) closed_.push_back(fd);
    return result;
  }
  std::vector<int> closed_;  // by the agent so far
};

}  // namespace

// --- receiving -------------------------------------------------------------------------------------------------------

TEST_F(Response, AReceivedBlockIsLoggedAndHandled) {
  const std::string block = "HTTP/1.1 500 Oops";
  platform_.send(block);
  EXPECT_THAT(log_lines([this] { EXPECT_EQ(process(), 0); }),
              ElementsAre("DEBUG nuvek_serverProcess recv:17 byte data.... ",
                          "DEBUG nuvek_serverProcess recv_buf:HTTP/1.1 500 Oops ", "DEBUG nuvek_parse_RecvData Exit"));
  expect_open();
}

TEST_F(Response, TheWholeRoadOfAnAnswerIsLogged) {
  const std::string text = kOkLine + "Content-Length: 25\r\n\r\n[\"u\",{\"ID\":7,\"Code\":-12}]";
  const std::string closing = "DEBUG nuvek_closeServer close g_server_Arg.fd:" + std::to_string(fd_);
  EXPECT_THAT(
      log_lines([&] { EXPECT_EQ(parse(text), 0); }),
      ElementsAre("DEBUG nuvek_parse_RecvDataSingle RecvData:HTTP/1.1 200 OK\r", "Content-Length: 25\r", "\r",
                  "[\"u\",{\"ID\":7,\"Code\":-12}]", "DEBUG nuvek_parse_RecvDataSingle Content-Length:25",
                  "DEBUG nuvek_parse_RecvDataSingle json_str:{\"ID\":7,\"Code\":-12}",
                  "DEBUG nuvek_JsonTOstring outParm->RPCMethod:", "DEBUG nuvek_JsonTOstring outParm->ObjectPath:",
                  "DEBUG nuvek_JsonTOstring outParm->RegID:", "DEBUG nuvek_JsonTOstring outParm->ID:7",
                  "DEBUG nuvek_JsonTOstring outParm->Code:-12", "DEBUG nuvek_handle_message Enter",
                  "DEBUG nuvek_handle_message recvdata->RPCMethod:", "DEBUG nuvek_handle_message recvdata->ObjectPath:",
                  "DEBUG nuvek_handle_message recvdata->RegID:", "DEBUG nuvek_handle_message recvdata->ID:7",
                  "DEBUG nuvek_handle_message recvdata->Code:-12", "DEBUG nuvek_parse_RecvDataSingle Exit", closing,
                  "DEBUG nuvek_parse_RecvData Exit"));
}

TEST_F(Response, AConnectionThatThePlatformClosedIsClosed) {
  shutdown(platform_.fd(), SHUT_WR);
  EXPECT_THAT(log_lines([this] { EXPECT_EQ(process(), -1); }),
              ElementsAre("ERROR nuvek_serverProcess server closed fd",
                          "DEBUG nuvek_closeServer close g_server_Arg.fd:" + std::to_string(fd_)));
  expect_closed();
}

TEST_F(Response, AFailedReceiveIsRefusedAsAnEmptyBlockAndKeepsTheConnection) {
  world().on_recv = [](int, void*, size_t) {
    errno = ECONNRESET;
    return -1;
  };
  EXPECT_THAT(
      log_lines([this] { EXPECT_EQ(process(), -1); }),
      ElementsAre("DEBUG nuvek_serverProcess errno: -1", "DEBUG nuvek_serverProcess recv:-1 byte data.... ",
                  "DEBUG nuvek_serverProcess recv_buf: ", "ERROR nuvek_parse_RecvData input data is null or buff max"));
  expect_open();
}

TEST_F(Response, OneReceiveTakesUpToTwoThousandFortyEightBytes) {
  size_t offered = 0;
  int descriptor = -1;
  world().on_recv = [&](int fd, void* data, size_t size) {
    descriptor = fd;
    offered = size;
    memset(data, 'x', size);  // the fullest block there can be
    return static_cast<ssize_t>(size);
  };
  EXPECT_EQ(process(), -1);
  EXPECT_EQ(offered, 2048U);
  EXPECT_EQ(descriptor, fd_);
  expect_open();
}

TEST_F(Response, ABlockEndsAtItsFirstNulByte) {
  platform_.send(answer({result_response(1, -7)}) + std::string(1, '\0') + answer({result_response(1, -8)}));
  EXPECT_EQ(process(), 0);
  EXPECT_EQ(nuvek_get_RPCResultRes(), -7);
}

TEST_F(Response, ABlockThatBeginsWithANulByteIsEmpty) {
  platform_.send(std::string(1, '\0') + answer({result_response(1, -7)}));
  EXPECT_THAT(log_lines([this] { EXPECT_EQ(process(), -1); }),
              Contains("ERROR nuvek_parse_RecvData input data is null or buff max"));
  EXPECT_EQ(nuvek_get_RPCResultRes(), 0);
  expect_open();
}

TEST_F(Response, ANulByteInsideTheBodyIsAFramingError) {
  std::string text = answer({result_response(1, -7)});
  text[text.size() - 4] = '\0';
  platform_.send(text);
  EXPECT_EQ(process(), 0);
  EXPECT_EQ(nuvek_get_RPCResultRes(), 0);
  expect_closed();
}

// --- blocks ----------------------------------------------------------------------------------------------------------

TEST_F(Response, AnEmptyBlockIsRefusedAndKeepsTheConnection) {
  EXPECT_THAT(log_lines([this] { EXPECT_EQ(parse(""), -1); }),
              ElementsAre("ERROR nuvek_parse_RecvData input data is null or buff max"));
  expect_open();
}

TEST_F(Response, ABlockOfOneThousandTwentyFourCharactersIsHandled) {
  EXPECT_EQ(parse(padded_answer({result_response(1, -7)}, 1024)), 0);
  EXPECT_EQ(nuvek_get_RPCResultRes(), -7);
  expect_closed();
}

TEST_F(Response, ABlockOfOneThousandTwentyFiveCharactersIsRefusedAndKeepsTheConnection) {
  const std::string block = padded_answer({result_response(1, -7)}, 1025);
  EXPECT_THAT(log_lines([&] { EXPECT_EQ(parse(block), -1); }),
              ElementsAre("ERROR nuvek_parse_RecvData input data is null or buff max"));
  EXPECT_EQ(nuvek_get_RPCResultRes(), 0);
  expect_open();
}

TEST_F(Response, TwoAnswersInOneBlockAreBothDispatchedInOrder) {
  const std::string first = result_response(1, -7);
  const std::string second = result_response(2, -8);
  EXPECT_THAT(dispatched_by([&] { EXPECT_EQ(parse(answer({first}) + answer({second})), 0); }),
              ElementsAre(first, second));
  EXPECT_EQ(nuvek_get_RPCResultRes(), -8);
  expect_closed();
}

TEST_F(Response, ABadAnswerDoesNotStopTheNextOneAndDoesNotChangeTheResult) {
  const std::string good = result_response(2, -8);
  EXPECT_THAT(dispatched_by([&] { EXPECT_EQ(parse(with_length("[\"u\"]", "99") + answer({good})), 0); }),
              ElementsAre(good));
  expect_closed();
}

TEST_F(Response, TextAheadOfTheFirstAnswerIsSkipped) {
  const std::string object = result_response(2, -8);
  EXPECT_THAT(dispatched_by([&] { EXPECT_EQ(parse("garbage[1,2]\r\n" + answer({object})), 0); }), ElementsAre(object));
}

TEST_F(Response, GarbageIsIgnoredAndKeepsTheConnection) {
  for (const std::string& block :
       std::vector<std::string>{"x", "[\"uuid\",{\"ID\":1}]", "HTTP/1.1 200 OK", "HTTP/1.0 200 OK\r\n",
                                "HTTP/1.1 503 Service Unavailable\r\nContent-Length: 0\r\n\r\n", "\xff\xfe}{]["}) {
    EXPECT_THAT(log_lines([&] { EXPECT_EQ(parse(block), 0); }), ElementsAre("DEBUG nuvek_parse_RecvData Exit"));
  }
  expect_open();
}

TEST_F(Response, AFourHundredFourAnywhereClosesTheConnection) {
  EXPECT_THAT(log_lines([this] { EXPECT_EQ(parse("HTTP/1.1 404 Not Found\r\n\r\n"), -1); }),
              ElementsAre("ERROR nuvek_parse_RecvData 404 Not Found",
                          "DEBUG nuvek_closeServer close g_server_Arg.fd:" + std::to_string(fd_)));
  expect_closed();
}

TEST_F(Response, AnswersOfABlockWithAFourHundredFourAreStillDispatched) {
  const std::string object = result_response(2, -8);
  EXPECT_THAT(dispatched_by([&] { EXPECT_EQ(parse(answer({object}) + "HTTP/1.1 404 Not Found\r\n\r\n"), -1); }),
              ElementsAre(object, "HTTP/1.1 404 Not Found\r"))
      << "what stands behind the array is a piece of the same answer";
  expect_closed();
}

// --- one response ----------------------------------------------------------------------------------------------------

TEST_F(Response, AnEmptyResponseIsRefused) {
  EXPECT_THAT(log_lines([this] { EXPECT_EQ(parse_single(""), -1); }),
              ElementsAre("ERROR nuvek_parse_RecvDataSingle input data is null",
                          "DEBUG nuvek_closeServer close g_server_Arg.fd:" + std::to_string(fd_)));
  expect_closed();
}

TEST_F(Response, AResponseOfOneThousandTwentyFiveCharactersIsRefused) {
  const std::string text = padded_answer({result_response(1, -7)}, 1025);
  EXPECT_THAT(log_lines([&] { EXPECT_EQ(parse_single(text), -1); }),
              ElementsAre("ERROR nuvek_parse_RecvDataSingle input data is null",
                          "DEBUG nuvek_closeServer close g_server_Arg.fd:" + std::to_string(fd_)));
}

TEST_F(Response, AResponseOfOneThousandTwentyFourCharactersIsHandled) {
  EXPECT_EQ(parse_single(padded_answer({result_response(1, -7)}, 1024)), 0);
  EXPECT_EQ(nuvek_get_RPCResultRes(), -7);
}

TEST_F(Response, AHandledResponseAloneLeavesTheConnectionToItsBlock) {
  EXPECT_EQ(parse_single(answer({result_response(1, -7)})), 0);
  expect_open();
}

TEST_F(Response, AnotherStatusIsIgnored) {
  EXPECT_THAT(log_lines([this] { EXPECT_EQ(parse_single("HTTP/1.1 500 Oops"), 0); }),
              ElementsAre("DEBUG nuvek_parse_RecvDataSingle RecvData:HTTP/1.1 500 Oops"));
  expect_open();
}

TEST_F(Response, WithoutAContentLengthTheResponseIsRefused) {
  expect_refused(kOkLine + "content-length: 8\r\n\r\n[\"u\",{}]");
}

TEST_F(Response, TheBlankAheadOfTheContentLengthIsOptional) {
  EXPECT_EQ(parse_single(kOkLine + "Content-Length:17\r\n\r\n[1,{\"RPCMethod\":0"), -1);
  const std::string object = result_response(1, -7);
  const std::string body = array_of({object});
  EXPECT_THAT(dispatched_by([&] {
                EXPECT_EQ(parse_single(kOkLine + "Content-Length:" + std::to_string(body.size()) + "\r\n\r\n" + body),
                          0);
              }),
              ElementsAre(object));
}

TEST_F(Response, AContentLengthOfSixteenCharactersIsRead) {
  const std::string object = result_response(1, -7);
  const std::string body = array_of({object});
  const std::string digits = std::to_string(body.size());
  const std::string text = with_length(body, std::string(16 - digits.size(), '0') + digits);
  EXPECT_THAT(dispatched_by([&] { EXPECT_EQ(parse_single(text), 0); }), ElementsAre(object));
}

TEST_F(Response, AContentLengthOfSeventeenCharactersIsAnErrorPacket) {
  const std::string body = array_of({result_response(1, -7)});
  const std::string digits = std::to_string(body.size());
  const std::string text = with_length(body, std::string(17 - digits.size(), '0') + digits);
  const auto lines = log_lines([&] { EXPECT_EQ(parse_single(text), -1); });
  EXPECT_THAT(lines, Contains("ERROR nuvek_parse_RecvDataSingle error packet"));
  EXPECT_EQ(nuvek_get_RPCResultRes(), 0);
  expect_closed();
}

TEST_F(Response, OneBlankOnlyIsSkippedSoThatTheSecondCountsAsADigit) {
  const std::string object = result_response(1, -7);
  const std::string body = array_of({object});
  const std::string digits = std::to_string(body.size());
  EXPECT_THAT(dispatched_by([&] {
                EXPECT_EQ(parse_single(with_length(body, std::string(16 - digits.size(), ' ') + digits)), 0);
              }),
              ElementsAre(object));
  EXPECT_EQ(parse_single(with_length(body, std::string(17 - digits.size(), ' ') + digits)), -1);
}

TEST_F(Response, AnEmptyBodyClosesTheConnectionAndIsNoFailure) {
  for (const std::string& text : {kOkLine + "Content-Length: 0\r\n\r\n", kOkLine + "Content-Length: \r\n\r\n",
                                  kOkLine + "Content-Length: none\r\n\r\n"}) {
    g_server_Arg.fd = dup(fd_);
    const auto lines = log_lines([&] { EXPECT_EQ(parse_single(text), 0); });
    EXPECT_THAT(lines, Contains("DEBUG nuvek_parse_RecvDataSingle Content-Length:0"));
    EXPECT_THAT(lines, Contains("ERROR nuvek_parse_RecvDataSingle Content-Length:0"));
    EXPECT_EQ(g_server_Arg.fd, -1);
  }
  close(fd_);
}

TEST_F(Response, AContentLengthWhoseLineHasNoEndCountsAsZero) {
  const auto lines = log_lines([this] { EXPECT_EQ(parse_single("HTTP/1.1 200 OK Content-Length: 7"), 0); });
  EXPECT_THAT(lines, Contains("ERROR nuvek_parse_RecvDataSingle Content-Length:0"));
  expect_closed();
}

TEST_F(Response, AnArrayOneByteShorterThanTheContentLengthIsRefused) {
  const std::string body = array_of({result_response(1, -7)});
  expect_refused(with_length(body, std::to_string(body.size() + 1)));
}

TEST_F(Response, AnArrayOneByteLongerThanTheContentLengthIsRefused) {
  const std::string body = array_of({result_response(1, -7)});
  expect_refused(with_length(body, std::to_string(body.size() - 1)));
}

TEST_F(Response, WithoutAnOpeningBracketTheResponseIsRefused) {
  expect_refused(with_length("{\"ID\":1,\"Code\":2}]", "18"));
}

TEST_F(Response, WithoutAClosingBracketTheResponseIsRefused) {
  expect_refused(with_length("[\"u\",{\"ID\":1,\"Code\":2}", "23"));
}

TEST_F(Response, WithoutACommaTheResponseIsRefused) { expect_refused(with_length("[\"uuid\"]", "8")); }

TEST_F(Response, BracketsAreSearchedInTheWholeResponse) {
  std::string text = answer({result_response(1, -7)});
  text.insert(kOkLine.size(), "X-Note: [a]\r\n");
  expect_refused(text);
}

TEST_F(Response, ABracketInAHeaderThatFitsTheContentLengthIsTakenForTheBody) {
  const std::string object = result_response(1, -7);
  const std::string text = kOkLine + "X-Note: [a,b]\r\nContent-Length: 5\r\n\r\n" + array_of({object});
  EXPECT_THAT(dispatched_by([&] { EXPECT_EQ(parse_single(text), 0); }), ElementsAre("b]\r"))
      << "one piece from the header's comma to the first brace that closes";
  EXPECT_EQ(nuvek_get_RPCResultRes(), 0);
}

TEST_F(Response, AClosingBracketInsideAnObjectEndsTheArrayThere) {
  const std::string body = array_of({"{\"RegID\":\"a]b\"}"});
  expect_refused(with_length(body, std::to_string(body.size())));
}

// --- objects ---------------------------------------------------------------------------------------------------------

TEST_F(Response, TwoObjectsAreDispatchedInTheirOrder) {
  const std::string first = result_response(1, -7);
  const std::string second = "{\"RPCMethod\":\"Other\"}";
  EXPECT_THAT(dispatched_by([&] { EXPECT_EQ(parse(answer({first, second})), 0); }), ElementsAre(first, second));
}

TEST_F(Response, EachObjectStartsFromAClearedRecord) {
  const auto lines = log_lines([this] {
    EXPECT_EQ(
        parse(answer({"{\"RPCMethod\":\"X\",\"ID\":7,\"Code\":8,\"RegID\":\"r\",\"ObjectPath\":\"o\"}", "{\"A\":1}"})),
        0);
  });
  const auto second = std::find(lines.begin(), lines.end(), "DEBUG nuvek_parse_RecvDataSingle json_str:{\"A\":1}");
  ASSERT_LE(lines.end() - second, lines.size());
  ASSERT_GE(lines.end() - second, 6);
  EXPECT_THAT(Lines(second + 1, second + 6),
              ElementsAre("DEBUG nuvek_JsonTOstring outParm->RPCMethod:",
                          "DEBUG nuvek_JsonTOstring outParm->ObjectPath:", "DEBUG nuvek_JsonTOstring outParm->RegID:",
                          "DEBUG nuvek_JsonTOstring outParm->ID:0", "DEBUG nuvek_JsonTOstring outParm->Code:0"));
}

TEST_F(Response, AnObjectIsCutAtItsFirstClosingBrace) {
  EXPECT_THAT(dispatched_by([this] { EXPECT_EQ(parse(answer({"{\"A\":{\"B\":1},\"ID\":3}"})), 0); }),
              ElementsAre("{\"A\":{\"B\":1}", "\"ID\":3}"));
}

TEST_F(Response, APieceOfFewerThanSixCharactersEndsTheObjects) {
  EXPECT_THAT(dispatched_by([this] {
                EXPECT_EQ(parse(answer({"{\"A\":}", "{\"B\":1}"})), 0);
              }),
              ElementsAre("{\"A\":}", "{\"B\":1}"))
      << "six characters with the comma";
  EXPECT_THAT(dispatched_by([this] {
                EXPECT_EQ(parse(answer({"{\"A\"}", "{\"B\":1}"})), 0);
              }),
              IsEmpty())
      << "five characters with the comma";
}

TEST_F(Response, TextBehindTheArrayIsTakenForAnObjectWhenItIsLongEnough) {
  const std::string object = result_response(1, -7);
  EXPECT_THAT(dispatched_by([&] { EXPECT_EQ(parse(answer({object}) + "12345"), 0); }), ElementsAre(object, "12345}"));
  EXPECT_THAT(dispatched_by([&] { EXPECT_EQ(parse(answer({object}) + "1234"), 0); }), ElementsAre(object));
}

TEST_F(Response, TheArraysFirstElementRunsToTheFirstComma) {
  const std::string object = result_response(1, -7);
  const std::string body = "[{\"what\":\"ever\"}," + object + "]";
  EXPECT_THAT(dispatched_by([&] { EXPECT_EQ(parse(with_length(body, std::to_string(body.size()))), 0); }),
              ElementsAre(object));
}

TEST_F(Response, AGetIsAnsweredOnTheConnectionBeforeItIsClosed) {
  strcpy(g_devinfo.UUID, "the-uuid");
  g_CntNum.FailTask = 3;
  platform_.send(answer({"{\"RPCMethod\":\"Get\",\"ID\":12345678,\"ObjectPath\":\"NUVEK.Counter\"}"}));
  EXPECT_EQ(process(), 0);
  EXPECT_EQ(platform_.received(),
            "POST /reg/ HTTP/1.1\r\nHost: 192.0.2.7\r\nConnection: keep-alive\r\nAccept: application/json\r\n"
            "Content-Type: application/json,charset=UTF-8\r\nContent-Length: 220\r\n\r\n"
            "[\"the-uuid\",{\"RPCMethod\":\"GetResponse\",\"ID\":12345678,\"ObjectPath\":\"NUVEK.Counter\",\"Code\":0,"
            "\"Result\":{\"NUVEK\":{\"Counter\":{\"FailInform\":0,\"FailResult\":0,\"FailTask\":3,\"SuccessInform\":0,"
            "\"SuccessResult\":0,\"SuccessTask\":0}}}}]");
  expect_closed();
}

TEST_F(Response, TwoGetsOfOneAnswerAreBothAnswered) {
  const std::string get = "{\"RPCMethod\":\"Get\",\"ID\":5,\"ObjectPath\":\"NUVEK.None\"}";
  EXPECT_EQ(parse(answer({get, get})), 0);
  const std::string expected =
      "POST /reg/ HTTP/1.1\r\nHost: 192.0.2.7\r\nConnection: keep-alive\r\nAccept: application/json\r\n"
      "Content-Type: application/json,charset=UTF-8\r\nContent-Length: 87\r\n\r\n"
      "[\"\",{\"RPCMethod\":\"GetResponse\",\"ID\":5,\"ObjectPath\":\"NUVEK.None\",\"Code\":-1,\"Result\":{}}]";
  EXPECT_EQ(platform_.received(), expected + expected);
}

TEST_F(Response, AGetInTheSecondAnswerOfABlockFindsTheConnectionClosed) {
  const std::string get = "{\"RPCMethod\":\"Get\",\"ID\":5,\"ObjectPath\":\"NUVEK.None\"}";
  const auto lines = log_lines([&] { EXPECT_EQ(parse(answer({"{\"A\":1}"}) + answer({get})), 0); });
  EXPECT_THAT(lines, Contains("ERROR nuvek_sendPostRequest fd error").Times(1));
  EXPECT_EQ(platform_.received(), "");
  expect_closed();
}

// --- envelopes -------------------------------------------------------------------------------------------------------

TEST_F(Response, AnEnvelopeFillsTheRecord) {
  RecvData record{};
  EXPECT_THAT(log_lines([&] {
                EXPECT_EQ(nuvek_JsonTOstring("{\"RPCMethod\":\"Get\",\"ObjectPath\":\"NUVEK.Counter\",\"RegID\":\"r1\","
                                             "\"ID\":7,\"Code\":-3}",
                                             &record),
                          1);
              }),
              ElementsAre("DEBUG nuvek_JsonTOstring outParm->RPCMethod:Get",
                          "DEBUG nuvek_JsonTOstring outParm->ObjectPath:NUVEK.Counter",
                          "DEBUG nuvek_JsonTOstring outParm->RegID:r1", "DEBUG nuvek_JsonTOstring outParm->ID:7",
                          "DEBUG nuvek_JsonTOstring outParm->Code:-3"));
  EXPECT_STREQ(record.RPCMethod, "Get");
  EXPECT_STREQ(record.ObjectPath, "NUVEK.Counter");
  EXPECT_STREQ(record.RegID, "r1");
  EXPECT_EQ(record.ID, 7);
  EXPECT_EQ(record.Code, -3);
  EXPECT_STREQ(record.unused, "");
}

TEST_F(Response, NoTextGivesZeroAndNoLog) {
  RecvData record{};
  EXPECT_THAT(log_lines([&] { EXPECT_EQ(nuvek_JsonTOstring(nullptr, &record), 0); }), IsEmpty());
}

TEST_F(Response, MissingNumbersAreZero) {
  RecvData record{};
  record.ID = record.Code = 99;
  EXPECT_EQ(nuvek_JsonTOstring("{\"RPCMethod\":\"Get\"}", &record), 1);
  EXPECT_EQ(record.ID, 0);
  EXPECT_EQ(record.Code, 0);
}

TEST_F(Response, NumbersMayBeStringsAndAreReadAsFarAsTheyGo) {
  RecvData record{};
  nuvek_JsonTOstring("{\"ID\":\" 12x\",\"Code\":\"-3\"}", &record);
  EXPECT_EQ(record.ID, 12);
  EXPECT_EQ(record.Code, -3);
  nuvek_JsonTOstring("{\"ID\":7.9,\"Code\":1e3}", &record);
  EXPECT_EQ(record.ID, 7);
  EXPECT_EQ(record.Code, 1);
}

TEST_F(Response, NumbersSaturateAtThirtyTwoBits) {
  RecvData record{};
  nuvek_JsonTOstring("{\"ID\":99999999999999999999,\"Code\":-2147483649}", &record);
  EXPECT_EQ(record.ID, INT32_MAX);
  EXPECT_EQ(record.Code, INT32_MIN);
}

TEST_F(Response, AKeyWhoseValueIsAnObjectLeavesTheFieldEmpty) {
  RecvData record{};
  nuvek_JsonTOstring("{\"RegID\":{\"a\":1},\"ObjectPath\":[\"x\"],\"RPCMethod\":null,\"ID\":{},\"Code\":true}",
                     &record);
  EXPECT_STREQ(record.RegID, "");
  EXPECT_STREQ(record.ObjectPath, "");
  EXPECT_STREQ(record.RPCMethod, "");
  EXPECT_EQ(record.ID, 0);
  EXPECT_EQ(record.Code, 0);
}

TEST_F(Response, AKeyInQuotesThatIsNoMemberLeavesTheFieldEmpty) {
  RecvData record{};
  nuvek_JsonTOstring("{\"RPCMethod\":\"RegID\",\"x\":{\"ObjectPath\":\"inner\"}}", &record);
  EXPECT_STREQ(record.RPCMethod, "RegID");
  EXPECT_STREQ(record.RegID, "");
  EXPECT_STREQ(record.ObjectPath, "");
}

TEST_F(Response, ValuesAreCutToTheirFields) {
  RecvData record{};
  const std::string json = "{\"RPCMethod\":\"" + std::string(40, 'm') + "\",\"ObjectPath\":\"" + std::string(40, 'o') +
                           "\",\"RegID\":\"" + std::string(200, 'r') + "\",\"ID\":7}";
  nuvek_JsonTOstring(json.c_str(), &record);
  EXPECT_EQ(record.RPCMethod, std::string(31, 'm'));
  EXPECT_EQ(record.ObjectPath, std::string(31, 'o'));
  EXPECT_EQ(record.RegID, std::string(127, 'r'));
  EXPECT_EQ(record.ID, 7);
}

TEST_F(Response, ATextThatDoesNotParseFillsNothing) {
  RecvData record{};
  EXPECT_EQ(nuvek_JsonTOstring("\"ID\":3}", &record), 1);
  EXPECT_EQ(record.ID, 0);
}
