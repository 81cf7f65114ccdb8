// The trace-route's output and the table of hops made of it.
#include "agent/tasks/trace_route.h"

#include <netdb.h>

#include "agent/ident/message_id.h"
#include "agent/tasks/task.h"
#include "tests/support/world.h"

using ::testing::Contains;

namespace {

class TraceRoute : public AgentTest {
 protected:
  TraceRoute() { strcpy(g_devinfo.UUID, "the-uuid"); }
  static std::string rows_of(const std::string& output) {
    world().write_file("/tmp/tracenuvek", output);
    char out[kTraceRowsSize] = "before";
    nuvek_trace_parse(out);
    return out;
  }
};

constexpr char kSilent[] = R"(["*", "null", "*", "null", "*", "null"])";

}  // namespace

TEST_F(TraceRoute, OutputsAndTheirRows) {
  const std::string silent = kSilent;
  const std::string long_name(40, 'h');
  const std::string kept_name(31, 'h');
  const struct {
    const char* what;
    std::string output;
    std::string rows;
  } table[] = {
      {"empty file", "", ""},
      {"heading only", "traceroute to trace.test (192.0.2.1), 30 hops max, 60 byte packets\n", ""},
      {"heading in the middle", "1 a (a) 1 ms\ntraceroute: warning\n2 b (b) 2 ms\n", R"(["a", 1],["b", 2])"},
      {"three times", "1 10.0.0.1 (10.0.0.1) 1.234 ms 1.100 ms 1.050 ms\n",
       R"(["10.0.0.1", 1.234, "10.0.0.1", 1.100, "10.0.0.1", 1.050])"},
      {"leading blanks and two between", " 1  gw (10.0.0.1)  0.5 ms  0.4 ms  0.3 ms\n",
       R"(["gw", 0.5, "gw", 0.4, "gw", 0.3])"},
      {"no answer", "3 * * *\n", silent},
      {"no answer, whatever follows", "3 * 10.0.0.3 (10.0.0.3) 9 ms\n", silent},
      {"host that begins with a star", "3 *x (10.0.0.3) 9 ms\n", silent},
      {"first time missing", "2 10.0.0.2 (10.0.0.2) * 2.5 ms\n", R"(["10.0.0.2", "null", "10.0.0.2", 2.5])"},
      {"second time missing", "2 a (a) 1 ms * 3 ms\n", R"(["a", 1, "a", "null", "a", 3])"},
      {"last two missing", "2 a (a) 1 ms * *\n", R"(["a", 1, "a", "null", "a", "null"])"},
      {"the same host again", "1 a (a) 1 ms\n2 a (a) 2 ms\n3 b (b) 3 ms\n", R"(["a", 1],["b", 3])"},
      {"a host that begins the one before", "1 10.0.0.10 (x) 1 ms\n2 10.0.0.1 (x) 2 ms\n", R"(["10.0.0.10", 1])"},
      {"a host that the one before begins", "1 10.0.0.1 (x) 1 ms\n2 10.0.0.10 (x) 2 ms\n",
       R"(["10.0.0.1", 1],["10.0.0.10", 2])"},
      {"the same host after a silent hop", "1 a (a) 1 ms\n2 * * *\n3 a (a) 3 ms\n", R"(["a", 1],)" + silent},
      {"the same host after another", "1 a (a) 1 ms\n2 b (b) 2 ms\n3 a (a) 3 ms\n", R"(["a", 1],["b", 2],["a", 3])"},
      {"no time at all", "1 host\n", R"(["host", ])"},
      {"address only", "1 host (10.0.0.1)\n", R"(["host", ])"},
      {"hop number only, first line", "1\n", R"(["", ])"},
      {"empty first line", "\n1 a (a) 1 ms\n", R"(["", ],["a", 1])"},
      {"empty line later", "1 a (a) 1 ms\n\n2 b (b) 2 ms\n", R"(["a", 1],["b", 2])"},
      {"no final newline", "1 a (a) 1 ms", R"(["a", 1])"},
      {"CR LF", "1 a (a) 1 ms 2 ms\r\n2 b (b) 3 ms\r\n", R"(["a", 1, "a", 2],["b", 3])"},
      {"tabs", "1\ta\t(a)\t1\tms\n", R"(["a", 1])"},
      {"annotation", "4 a (a) 1 ms !H 2 ms !N\n", R"(["a", 1, "a", !H, "a", 2])"},
      {"numeric output without addresses", "1 10.0.0.1 0.5 ms 0.4 ms 0.3 ms\n",
       R"(["10.0.0.1", ms, "10.0.0.1", 0.4, "10.0.0.1", 0.3])"},
      {"time and unit in one word", "1 a (a) 1ms 2ms 3ms\n", R"(["a", 1ms])"},
      {"IPv6-looking host", "1 2001:db8::1 (2001:db8::1) 1 ms\n", R"(["2001:db8::1", 1])"},
      {"three hosts on one line", "5 a (a) 1 ms b (b) 2 ms\n", R"(["a", 1, "a", b, "a", (b), "a", 2])"},
      {"name of 40 characters", "1 " + long_name + " (a) 1 ms\n", "[\"" + kept_name + "\", 1]"},
      {"hop number of 20 digits", std::string(20, '1') + " a (a) 1 ms\n", R"(["a", 1])"},
      {"time of 40 digits", "1 a (a) " + std::string(40, '7') + " ms\n", "[\"a\", " + std::string(31, '7') + "]"},
      {"NUL byte ends the line", std::string("1 a (a) 1\0 ms 2 ms\n", 19) + "2 b (b) 2 ms\n", R"(["a", 1],["b", 2])"},
      {"a quote in a name", "1 a\"b (a) 1 ms\n", R"(["a"b", 1])"},
      {"format characters", "1 %s%n (a) %d ms\n", R"(["%s%n", %d])"},
  };
  for (const auto& row : table) EXPECT_EQ(rows_of(row.output), row.rows) << row.what;
}

TEST_F(TraceRoute, ALineBeyond255CharactersCountsAsTwo) {
  const std::string line = "1 a (a) 1 ms" + std::string(243, ' ');
  ASSERT_EQ(line.size(), 255U);
  EXPECT_EQ(rows_of(line + "2 b (b) 2 ms\n"), R"(["a", 1],["b", 2])");
}

TEST_F(TraceRoute, RowsAreCutAtTheBuffersEnd) {
  std::string output;
  for (int hop = 0; hop < 100; ++hop) output += "1 * * *\n";
  const std::string rows = rows_of(output);
  EXPECT_EQ(rows.size(), 2047U);
  EXPECT_EQ(rows.substr(0, 41), std::string(kSilent) + ",[");
}

TEST_F(TraceRoute, WithoutAnOutputTheTextIsLeftAndItIsSaid) {
  char out[kTraceRowsSize] = "before";
  EXPECT_EQ(stdout_of([&] { nuvek_trace_parse(out); }), "can't open " + world().root + "/tmp/tracenuvek\n");
  EXPECT_STREQ(out, "before");
}

TEST_F(TraceRoute, TheTableBecomesAnArrayAndTheTestIsReported) {
  ConnectedPlatform platform;
  nuvekTask.traceState = kTaskStarted;
  nuvekTask.traceTrigger = 1;
  world().hosts["trace.test"] = "192.0.2.99";
  world().write_file("/tmp/tracenuvek", "1 a (a) 1.5 ms\n2 * * *\n");
  nuvek_trace_test_Report(&g_devinfo, &g_server_Arg);
  EXPECT_EQ(body_of(platform.received()),
            R"(["the-uuid",{"RPCMethod":"Result","ID":)" + std::to_string(nuvek_generateId()) +
                R"(,"TaskStatus":0,"ObjectPath":"NUVEK.TraceRoute","Params":{"NUVEK":{"TraceRouteResult":{)"
                R"("DestIP":"192.0.2.99","MaxTTL":30,"Method":"icmp","PathTable":[["a", 1.5],)" +
                kSilent + R"(],"Error":"null"}}}}])");
  EXPECT_EQ(nuvekTask.traceState, kTaskReported);
  EXPECT_EQ(nuvekTask.traceTrigger, 0);
}

TEST_F(TraceRoute, WithoutOutputAndNameTheResultIsEmpty) {
  ConnectedPlatform platform;
  std::string errors = stderr_of([] { stdout_of([] { nuvek_trace_test_Report(&g_devinfo, &g_server_Arg); }); });
  EXPECT_EQ(errors, std::string("getaddrinfo: ") + gai_strerror(EAI_NONAME) + "\n");
  const std::string body = body_of(platform.received());
  EXPECT_NE(body.find(R"("DestIP":"","MaxTTL":30,"Method":"icmp","PathTable":[],"Error":"null")"), std::string::npos)
      << body;
}

TEST_F(TraceRoute, WithoutAPlatformTheFailureIsLoggedAndTheTestReportedAllTheSame) {
  world().put("nuvek_Server", "PlatDomain1", "127.0.0.1");
  world().put("nuvek_Server", "PlatDomain2", "127.0.0.1");
  std::vector<std::string> lines;
  stderr_of([&] { lines = log_lines([] { nuvek_trace_test_Report(&g_devinfo, &g_server_Arg); }); });
  EXPECT_EQ(lines.front(), "DEBUG nuvek_trace_test_Report Enter");
  EXPECT_THAT(lines, Contains("ERROR nuvek_trace_test_Report link sever error!"));
  EXPECT_EQ(lines.back(), "ERROR nuvek_trace_test_Report  sendPostRequest error");
  EXPECT_EQ(nuvekTask.traceState, kTaskReported);
}
