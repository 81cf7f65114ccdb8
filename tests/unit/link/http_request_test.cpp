// The one way to send: the request's bytes, the location values, and what a failing connection does to it.
#include "agent/link/http_request.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "agent/base/records.h"
#include "tests/support/world.h"
#include "tests/unit/link/closed_by.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

std::string request_with(const std::string& body, size_t length) {
  return "POST /reg/ HTTP/1.1\r\n"
         "Host: 192.0.2.7\r\n"
         "Connection: keep-alive\r\n"
         "Accept: application/json\r\n"
         "Content-Type: application/json,charset=UTF-8\r\n"
         "Content-Length: " +
         std::to_string(length) + "\r\n\r\n" + body;
}
std::string request_with(const std::string& body) { return request_with(body, body.size()); }

// A body that makes a request of `size` characters.
std::string body_for_request_of(size_t size) {
  const size_t head = request_with("", 1000).size();
  return std::string(size - head, 'b');
}

std::string unquoted(std::string text, const char* key) {
  nuvek_unquote_value(text.data(), key);
  return text;
}

class Request : public AgentTest {
 protected:
  // Sends a copy of `body`; the copy afterwards is in body_.
  int send_body(const std::string& body) {
    body_ = body;
    body_.push_back('\0');
    const int result = nuvek_sendPostRequest(g_connection, body_.data());
    body_.pop_back();
    return result;
  }

  // Takes what `takes` says of each offer, in order; a number below 0 fails.
  void take(std::vector<ssize_t> takes) {
    world().on_send = [this, takes = std::move(takes)](int, const void* data, size_t size) -> ssize_t {
      offers_.emplace_back(static_cast<const char*>(data), size);
      const size_t turn = offers_.size() - 1;
      if (turn >= takes.size()) {
        ADD_FAILURE() << "one send too many";
        return -1;
      }
      if (takes[turn] < 0) errno = EPIPE;
      return takes[turn];
    };
  }

  ConnectedPlatform platform_;
  std::string body_;
  std::vector<std::string> offers_;
};

}  // namespace

// --- the request's bytes ---------------------------------------------------------------------------------------------

TEST_F(Request, ABodyGoesOutBehindTheHeadThatThePlatformExpects) {
  const std::string body = "[\"uuid\",{\"RPCMethod\":\"Inform0\",\"ID\":12345678}]";
  EXPECT_EQ(send_body(body), 0);
  EXPECT_EQ(platform_.received(),
            "POST /reg/ HTTP/1.1\r\n"
            "Host: 192.0.2.7\r\n"
            "Connection: keep-alive\r\n"
            "Accept: application/json\r\n"
            "Content-Type: application/json,charset=UTF-8\r\n"
            "Content-Length: 46\r\n"
            "\r\n"
            "[\"uuid\",{\"RPCMethod\":\"Inform0\",\"ID\":12345678}]");
  EXPECT_EQ(body_, body);
}

TEST_F(Request, PathAndHostAreTheRecords) {
  strcpy(g_server_Arg.urlPath, "/other/path");
  strcpy(g_server_Arg.hostIp, "255.255.255.255");
  EXPECT_EQ(send_body("x"), 0);
  EXPECT_EQ(platform_.received(),
            "POST /other/path HTTP/1.1\r\nHost: 255.255.255.255\r\nConnection: keep-alive\r\n"
            "Accept: application/json\r\nContent-Type: application/json,charset=UTF-8\r\nContent-Length: 1\r\n\r\nx");
}

TEST_F(Request, TheContentLengthCountsBytesOfTheBodyOnly) {
  EXPECT_EQ(send_body("\xc3\xa4"), 0);
  EXPECT_EQ(platform_.received(), request_with("\xc3\xa4", 2));
}

TEST_F(Request, ASentRequestIsLogged) {
  const std::string request = request_with("[1]");
  EXPECT_THAT(raw_log([this] { EXPECT_EQ(send_body("[1]"), 0); }), testing::HasSubstr("] send_msg:" + request + "\n"));
  const auto lines = log_lines([this] { EXPECT_EQ(send_body("[1]"), 0); });
  ASSERT_EQ(lines.size(), 11U);
  EXPECT_EQ(lines[0], "DEBUG nuvek_sendPostRequest Enter");
  EXPECT_EQ(lines[1], "DEBUG nuvek_sendPostRequest send_msg:POST /reg/ HTTP/1.1\r");
  EXPECT_EQ(lines[8], "[1]");
  EXPECT_EQ(lines[9], "DEBUG nuvek_sendPostRequest send " + std::to_string(request.size()) + " byte");
  EXPECT_EQ(lines[10], "DEBUG nuvek_sendPostRequest Exit");
}

// --- what is refused -------------------------------------------------------------------------------------------------

TEST_F(Request, ADescriptorBelowOneIsRefused) {
  take({});
  for (const int number : {0, -1, -7}) {
    std::atomic<int32_t> fd{number};
    char body[] = "{\"Long\":\"1.5\"}";
    EXPECT_THAT(log_lines([&] { EXPECT_EQ(nuvek_sendPostRequest(Connection(fd), body), -1); }),
                ElementsAre("DEBUG nuvek_sendPostRequest Enter", "ERROR nuvek_sendPostRequest fd error"));
    EXPECT_STREQ(body, "{\"Long\":\"1.5\"}");
  }
}

TEST_F(Request, AnEmptyBodyIsRefused) {
  take({});
  EXPECT_THAT(log_lines([this] { EXPECT_EQ(send_body(""), -1); }),
              ElementsAre("DEBUG nuvek_sendPostRequest Enter", "ERROR nuvek_sendPostRequest send buffer is null"));
}

TEST_F(Request, TheDescriptorIsLookedAtAheadOfTheBody) {
  char body[] = "";
  std::atomic<int32_t> fd{0};
  EXPECT_THAT(log_lines([&] { EXPECT_EQ(nuvek_sendPostRequest(Connection(fd), body), -1); }),
              Contains("ERROR nuvek_sendPostRequest fd error"));
}

// --- location values -------------------------------------------------------------------------------------------------

TEST_F(Request, ALocationValueGoesOutAsABareNumberOfTheSameLength) {
  EXPECT_EQ(send_body("{\"Long\":\"1.5\"}"), 0);
  EXPECT_EQ(platform_.received(), request_with("{\"Long\": 1.5 }", 14));
  EXPECT_EQ(body_, "{\"Long\": 1.5 }");
}

TEST_F(Request, AllFiveLocationValuesLoseTheirQuotes) {
  EXPECT_EQ(send_body("{\"Long\":\"116.30\",\"Lat\":\"39.9\",\"Altitudes\":\"0.0\",\"HorizontalError\":\"1\","
                      "\"VerticalError\":\"2\",\"AreaCode\":\"010\"}"),
            0);
  EXPECT_EQ(body_of(platform_.received()),
            "{\"Long\": 116.30 ,\"Lat\": 39.9 ,\"Altitudes\": 0.0 ,\"HorizontalError\": 1 ,"
            "\"VerticalError\": 2 ,\"AreaCode\":\"010\"}");
}

TEST_F(Request, OnlyTheFirstOfTwoLocationBlocksIsTreated) {
  EXPECT_EQ(send_body("[{\"Long\":\"1\",\"Lat\":\"2\"},{\"Long\":\"3\",\"Lat\":\"4\"}]"), 0);
  EXPECT_EQ(body_of(platform_.received()), "[{\"Long\": 1 ,\"Lat\": 2 },{\"Long\":\"3\",\"Lat\":\"4\"}]");
}

TEST_F(Request, ABodyWithoutLocationKeysIsSentUnchanged) {
  const std::string body = "{\"RPCMethod\":\"Result\",\"Code\":\"0\",\"long\":\"1\",\"LAT\":\"2\"}";
  EXPECT_EQ(send_body(body), 0);
  EXPECT_EQ(body_of(platform_.received()), body);
}

TEST_F(Request, AKeyIsFoundAsPlainTextInALongerName) {
  EXPECT_EQ(unquoted("{\"LongName\":\"a\",\"Long\":\"1\"}", "Long"), "{\"LongName\": a ,\"Long\":\"1\"}");
  EXPECT_EQ(send_body("{\"LongName\":\"a\",\"myLat\":\"b\",\"Long\":\"1\"}"), 0);
  EXPECT_EQ(body_of(platform_.received()), "{\"LongName\": a ,\"myLat\": b ,\"Long\":\"1\"}");
}

TEST_F(Request, AKeyIsFoundAsPlainTextInAValue) {
  EXPECT_EQ(unquoted("{\"Name\":\"Long\",\"Code\":\"7\",\"Long\":\"1\"}", "Long"),
            "{\"Name\":\"Long\",\"Code\": 7 ,\"Long\":\"1\"}");
}

TEST_F(Request, AValueThatIsANumberAlreadyLosesTheQuotesOfTheNextName) {
  EXPECT_EQ(unquoted("{\"Long\":1,\"Code\":\"7\"}", "Long"), "{\"Long\":1, Code :\"7\"}");
}

TEST_F(Request, AKeyWithoutWhatFollowsIsLeftAsItIs) {
  EXPECT_EQ(unquoted("{\"Long\"}", "Long"), "{\"Long\"}");
  EXPECT_EQ(unquoted("{\"Long\":5}", "Long"), "{\"Long\":5}");
  EXPECT_EQ(unquoted("", "Long"), "");
}

TEST_F(Request, AQuoteWithoutItsPartnerIsBlanked) { EXPECT_EQ(unquoted("Long:\"1", "Long"), "Long: 1"); }

TEST_F(Request, AnEmptyValueBecomesTwoBlanks) { EXPECT_EQ(unquoted("{\"Lat\":\"\"}", "Lat"), "{\"Lat\":  }"); }

// --- TAB bytes -------------------------------------------------------------------------------------------------------

TEST_F(Request, TabsBecomeBlanksButForTheLastTwoBytes) {
  EXPECT_EQ(send_body("a\tb\t\t\t"), 0);
  EXPECT_EQ(platform_.received(), request_with("a b \t\t", 6));
  EXPECT_EQ(body_, "a\tb\t\t\t") << "the body itself keeps its tabs";
}

TEST_F(Request, TabsInTheHeadBecomeBlanksToo) {
  strcpy(g_server_Arg.urlPath, "/a\tb/");
  EXPECT_EQ(send_body("{}"), 0);
  EXPECT_EQ(platform_.received().substr(0, 18), "POST /a b/ HTTP/1.");
}

TEST_F(Request, TheLoggedRequestStillHasItsTabs) {
  EXPECT_THAT(log_lines([this] { EXPECT_EQ(send_body("a\tbcd"), 0); }), Contains("a\tbcd"));
}

// --- long requests ---------------------------------------------------------------------------------------------------

TEST_F(Request, ARequestOfTwoThousandFortySevenCharactersFits) {
  const std::string body = body_for_request_of(2047);
  EXPECT_EQ(send_body(body), 0);
  EXPECT_EQ(platform_.received(), request_with(body));
}

TEST_F(Request, ALongerRequestGoesOutAsFarAsItFitsAndIsAFailure) {
  for (const size_t size : {2048U, 2049U, 2050U, 2600U}) {
    const std::string body = body_for_request_of(size);
    const auto lines = log_lines([&] { EXPECT_EQ(send_body(body), -1); });
    EXPECT_EQ(platform_.received(), request_with(body).substr(0, 2047));
    EXPECT_THAT(lines, Contains("ERROR nuvek_sendPostRequest send error"));
  }
}

TEST_F(Request, ALongPathDoesNotDriveTheRequestOutOfItsBuffer) {
  memset(g_server_Arg.urlPath, 'p', sizeof g_server_Arg.urlPath - 1);
  memset(g_server_Arg.hostIp, 'h', sizeof g_server_Arg.hostIp - 1);
  EXPECT_EQ(send_body(std::string(4000, 'b')), -1);
  EXPECT_EQ(platform_.received().size(), 2047U);
}

// --- sending in pieces -----------------------------------------------------------------------------------------------

TEST_F(Request, APartialWriteIsContinuedWhereItStopped) {
  const std::string request = request_with("[1,2,3]");
  const ssize_t rest = static_cast<ssize_t>(request.size()) - 11;
  take({10, 1, rest});
  EXPECT_EQ(send_body("[1,2,3]"), 0);
  EXPECT_THAT(offers_, ElementsAre(request, request.substr(10), request.substr(11)));
}

TEST_F(Request, TheLoopDoesNotCountTheEmptyLineSoThatAWriteUpToTheLastTwoBytesEndsIt) {
  const std::string request = request_with("[1,2,3]");
  const ssize_t counted = static_cast<ssize_t>(request.size()) - 2;
  take({counted});
  EXPECT_THAT(log_lines([this] { EXPECT_EQ(send_body("[1,2,3]"), 0); }),
              Contains("DEBUG nuvek_sendPostRequest send " + std::to_string(counted) + " byte"));
  EXPECT_THAT(offers_, ElementsAre(request));
}

TEST_F(Request, AWriteThatStopsThreeBytesShortIsContinued) {
  const std::string request = request_with("[1,2,3]");
  take({static_cast<ssize_t>(request.size()) - 3, 1});
  EXPECT_EQ(send_body("[1,2,3]"), 0);
  EXPECT_THAT(offers_, ElementsAre(request, ",3]"));
}

TEST_F(Request, AFailedSendIsAnErrorAndKeepsTheConnection) {
  take({20, -1});
  std::vector<int> closed;
  const auto lines = log_lines([&] { closed = closed_by([&] { EXPECT_EQ(send_body("[1,2,3]"), -1); }); });
  EXPECT_THAT(lines, Contains("ERROR nuvek_sendPostRequest send error").Times(1));
  for (const std::string& line : lines) EXPECT_EQ(line.find(" byte"), std::string::npos) << line;
  EXPECT_EQ(offers_.size(), 2U);
  EXPECT_NE(g_server_Arg.fd, -1);
  EXPECT_THAT(closed, IsEmpty());
}

TEST_F(Request, AConnectionThatThePlatformHasClosedGivesMinusOne) {
  shutdown(platform_.fd(), SHUT_RDWR);
  EXPECT_THAT(log_lines([this] { EXPECT_EQ(send_body("[1]"), -1); }),
              Contains("ERROR nuvek_sendPostRequest send error"));
  EXPECT_NE(g_server_Arg.fd, -1);
}

// --- a report's hold on the link -------------------------------------------------------------------------------------

TEST_F(Request, AReportUsesTheConnectionThatIsThere) {
  const ReportLink link("nuvek_test");
  EXPECT_TRUE(link.connect());
  EXPECT_THAT(world().calls(), IsEmpty());
  char body[] = "[2]";
  EXPECT_THAT(log_lines([&] { EXPECT_EQ(link.send(body), 0); }), Contains("DEBUG nuvek_sendPostRequest Exit"));
  EXPECT_EQ(platform_.received(), request_with("[2]"));
}

TEST_F(Request, AReportConnectsWhenThereIsNoConnection) {
  nuvek_closeServer();
  FakePlatform server;
  world().put("nuvek_Server", "PlatDomain1", "127.0.0.1");
  {
    const ReportLink link("nuvek_test");
    EXPECT_TRUE(link.connect());
  }
  const int far = server.accept_connection();
  EXPECT_NE(far, -1);
  close(far);
}

TEST_F(Request, AReportThatCannotConnectSaysSoAndFailsToSend) {
  nuvek_closeServer();
  world().on_connect = [](int, const sockaddr*) {
    errno = ECONNREFUSED;
    return -1;
  };
  strcpy(g_server_Arg.urlPath, "/old/");
  std::vector<std::string> opened;
  std::vector<std::string> sent;
  stderr_of([&] {
    const ReportLink link("nuvek_test");
    EXPECT_FALSE(link.connect());
    opened = log_lines([&] { link.open(); });
    char body[] = "[2]";
    sent = log_lines([&] { EXPECT_EQ(link.send(body), -1); });
  });
  EXPECT_EQ(opened.back(), "ERROR nuvek_test link sever error!");
  EXPECT_STREQ(g_server_Arg.urlPath, "/reg/");
  EXPECT_THAT(sent, ElementsAre("DEBUG nuvek_sendPostRequest Enter", "ERROR nuvek_sendPostRequest fd error",
                                "ERROR nuvek_test  sendPostRequest error"));
}
