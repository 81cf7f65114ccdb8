// The speed test's files and the message made of them.
#include "agent/tasks/speed_test.h"

#include "agent/base/counters.h"
#include "agent/base/file.h"
#include "agent/ident/message_id.h"
#include "agent/tasks/task.h"
#include "tests/support/world.h"

using ::testing::Contains;
using ::testing::EndsWith;
using ::testing::HasSubstr;

namespace {

class SpeedTest : public AgentTest {
 protected:
  SpeedTest() {
    strcpy(g_devinfo.UUID, "the-uuid");
    strcpy(g_server_Arg.urlPath, "/other/");
  }
  std::string request() {
    nuvek_speed_test_Report(&g_devinfo, &g_server_Arg);
    return platform_.received();
  }
  static std::string body(const std::string& table, const std::string& url = "", const std::string& address = "",
                          const std::string& error = "\"null\"") {
    return R"(["the-uuid",{"RPCMethod":"Result","ID":)" + std::to_string(nuvek_generateId()) +
           R"(,"TaskStatus":0,"ObjectPath":"NUVEK.SiteSpeed","Params":{"NUVEK":{"SiteSpeedResult":{"DestUrl":")" + url +
           R"(","DestIP":")" + address + R"(","Threads":1,"SpeedTable":)" + table + R"(,"Error":)" + error + "}}}}]";
  }
  ConnectedPlatform platform_;
};

}  // namespace

TEST_F(SpeedTest, TheTableBecomesAnArrayAndTheTestIsReported) {
  nuvekTask.speedState = kTaskStarted;
  nuvekTask.speedTrigger = 1;
  world().write_file("/var/httpSpeed", "1.5,2.25");
  world().write_file("/var/httpURL", "http://p/x");
  world().write_file("/var/httpDIP", "192.0.2.1");
  world().write_file("/var/speed_ErrorCode", "0");
  const std::string sent = request();
  EXPECT_EQ(body_of(sent), body("[1.5,2.25]", "http://p/x", "192.0.2.1"));
  EXPECT_EQ(sent.rfind("POST /reg/ HTTP/1.1\r\n", 0), 0U) << "the path is set ahead of sending";
  EXPECT_EQ(nuvekTask.speedState, kTaskReported);
  EXPECT_EQ(nuvekTask.speedTrigger, 0);
  EXPECT_EQ(g_CntNum.SuccessTask, 1U);
}

TEST_F(SpeedTest, WithoutFilesTheResultIsEmptyAndCountsAsFailed) {
  EXPECT_EQ(body_of(request()), body("[]"));
  EXPECT_EQ(g_CntNum.FailTask, 1U);
  EXPECT_EQ(g_CntNum.SuccessTask, 0U);
}

TEST_F(SpeedTest, AnErrorCodeBringsTheThreeOthers) {
  world().write_file("/var/speed_ErrorCode", "5");
  EXPECT_EQ(body_of(request()),
            body("[]", "", "", R"({"ErrorCode":5,"DNSErrorCode":0,"NetErrorCode":0,"HTTPErrorCode":0})"));
  world().write_file("/var/speed_DNSErrorCode", "1\n");
  world().write_file("/var/speed_NETErrorCode", "-2x");
  world().write_file("/var/speed_HTTPErrorCode", "404");
  EXPECT_EQ(body_of(request()),
            body("[]", "", "", R"({"ErrorCode":5,"DNSErrorCode":1,"NetErrorCode":-2,"HTTPErrorCode":404})"));
}

TEST_F(SpeedTest, AnErrorCodeIsReadUpToThirtyOneDigits) {
  for (const char* behind : {"", "9"}) {
    world().write_file("/var/speed_ErrorCode", std::string(29, '0') + "17" + behind);
    EXPECT_EQ(body_of(request()),
              body("[]", "", "", R"({"ErrorCode":17,"DNSErrorCode":0,"NetErrorCode":0,"HTTPErrorCode":0})"));
  }
}

TEST_F(SpeedTest, AnErrorCodeThatIsNoNumberIsSuccessAndTheOthersAreNotAskedFor) {
  world().write_file("/var/speed_ErrorCode", "none");
  world().write_file("/var/speed_DNSErrorCode", "1");
  EXPECT_EQ(body_of(request()), body("[]"));
}

TEST_F(SpeedTest, AnErrorCodeDoesNotMakeATableAFailure) {
  world().write_file("/var/httpSpeed", "1");
  world().write_file("/var/speed_ErrorCode", "5");
  request();
  EXPECT_EQ(g_CntNum.SuccessTask, 1U);
}

TEST_F(SpeedTest, ATableWithQuotesClosesAtItsFirstOne) {
  world().write_file("/var/httpSpeed", "\"a\",\"b\"");
  EXPECT_EQ(body_of(request()), body("[]a\",\"b\"\""));
}

TEST_F(SpeedTest, FilesAreReadUpToTheirLimitAndNoByteFurther) {
  world().write_file("/var/httpURL", std::string(299, 'u'));
  world().write_file("/var/httpDIP", std::string(31, 'd'));
  EXPECT_EQ(body_of(request()), body("[]", std::string(299, 'u'), std::string(31, 'd')));
  world().write_file("/var/httpURL", std::string(300, 'u'));
  world().write_file("/var/httpDIP", std::string(32, 'd'));
  EXPECT_EQ(body_of(request()), body("[]", std::string(299, 'u'), std::string(31, 'd')));
  char buffer[4096];
  for (const size_t size : {4095U, 4096U}) {
    world().write_file("/var/httpSpeed", std::string(size, '1'));
    EXPECT_EQ(nuvek_read_file("/var/httpSpeed", buffer, sizeof buffer), 4095);
    EXPECT_EQ(strlen(buffer), 4095U);
  }
  EXPECT_EQ(nuvek_read_file("/var/nothing", buffer, sizeof buffer), 0);
  EXPECT_STREQ(buffer, "");
}

TEST_F(SpeedTest, ABodyIsCutAt4095CharactersAndTheRequestAt2047) {
  world().write_file("/var/httpSpeed", std::string(4095, '1'));
  std::vector<std::string> lines = log_lines([&] { nuvek_speed_test_Report(&g_devinfo, &g_server_Arg); });
  const std::string sent = platform_.received();
  EXPECT_EQ(sent.size(), 2047U);
  EXPECT_THAT(sent, HasSubstr("Content-Length: 4095\r\n"));
  EXPECT_THAT(lines, Contains("ERROR nuvek_sendPostRequest send error"));
  EXPECT_THAT(lines, Contains("ERROR nuvek_speed_test_Report  sendPostRequest error"));
  EXPECT_EQ(nuvekTask.speedState, kTaskReported) << "in every case";
}

TEST_F(SpeedTest, TabsOfAFileBecomeBlanks) {
  world().write_file("/var/httpSpeed", "1\t2\n");
  EXPECT_EQ(body_of(request()), body("[1 2\n]"));
}

TEST_F(SpeedTest, WithoutAPlatformTheFailureIsLoggedAndTheTestReportedAllTheSame) {
  const int fd = g_server_Arg.fd.exchange(-1);
  ::close(fd);
  world().put("nuvek_Server", "PlatDomain1", "127.0.0.1");
  world().put("nuvek_Server", "PlatDomain2", "127.0.0.1");
  std::vector<std::string> lines;
  stderr_of([&] { lines = log_lines([] { nuvek_speed_test_Report(&g_devinfo, &g_server_Arg); }); });
  EXPECT_EQ(lines.front(), "DEBUG nuvek_speed_test_Report Enter");
  EXPECT_THAT(lines, Contains("ERROR nuvek_speed_test_Report link sever error!"));
  EXPECT_EQ(lines.back(), "ERROR nuvek_speed_test_Report  sendPostRequest error");
  EXPECT_EQ(nuvekTask.speedState, kTaskReported);
}
