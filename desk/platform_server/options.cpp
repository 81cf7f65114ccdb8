#include "options.h"

#include <sys/un.h>

#include <CLI/CLI.hpp>

#include "console/place.h"

namespace desk {
namespace {

constexpr const char* kAbout =
    "A management platform for the desk: takes in any number of gateways, checks every request\n"
    "byte for byte, answers by a scenario, and tells what came and what it answered.\n";

constexpr const char* kFooter = R"(
Examples:
  nuvek-platform --port 8080
  nuvek-platform --address 0.0.0.0                  # for a gateway on the network
  nuvek-platform --port 0 --port-file port --scenario story.yaml --journal exchanges.jsonl
  curl -o /dev/null http://127.0.0.1:8080/speedtest/any

What it serves:
  POST /reg/           the gateway's messages: Inform0, Report (the periodic one), SiteSpeed, TraceRoute
                       (the two results) and GetResponse
  GET /speedtest/...   a download for the site speed test

  A request that is not exactly a gateway's is told as a FINDING and answered with 400 and the reason. The
  Host line must name the very address that the gateway connected to.
  Gets travel with the answers to Inform0, Report and results. The answers to GetResponses wait until the
  last Get of an answer has its response: a gateway closes then, and does not read them.

Scenario file (YAML; every key may be left out; shown with its default):
  Inform0:
    reg_id: "NUVEK-{n}"  # registration identifier; {n}: number of the gateway, {uuid}: its UUID
    codes: [0]           # Code of the 1st, 2nd, ... answer to a gateway; the last one stays
    gets: []             # Gets with the 1st, 2nd, ... answer, a list each; the last list stays, so close
                         # with [] to ask no more, e.g. [[NUVEK.DeviceInfo, NUVEK.Counter], []]; at most
                         # 8 an answer
    delay_ms: 0          # wait before the answer
  Report: {}             # gets, delay_ms
  SiteSpeed: {}          # codes, gets, delay_ms; e.g. codes: [-3, 0] has the first result sent again
  TraceRoute: {}         # codes, gets, delay_ms
  GetResponse: {}        # delay_ms
  Bad: {}                # delay_ms; requests with a finding
  SpeedTest:
    bytes: 8000000       # length of a download, or instead
    duration_s: 10       # its duration (no default)
    mbit_s: 1000         # its highest speed, each connection
    delay_ms: 0
  on_finding: refuse     # or answer: tell the finding, but answer all the same where that is possible
  request_ms: 10000      # time that a request may take to come in
  write_ms: 30000        # time that a client may take to take an answer, or 16 KB of a download
  idle_ms: 300000        # a connection that is silent that long is closed
  faults:                # the first rule that fits is played
    - to: Report         # a kind as above; left out: any request
      nth: 2             # only the 2nd of a gateway; or from: 2, the 2nd and all after; or all
      do: reset          # see below
      gap_ms: 100        # between the two pieces
  answers:               # rules as above with code or bytes in place of do; uuid, in any rule: one gateway only
    - {to: Inform0, nth: 9, uuid: a07fa0ec-e556-11f1-8730-024e56454b01, code: -4}
    - {to: Report, nth: 9, bytes: "HTTP/1.1 200 OK\r\n\r\n"}   # literally, one character a byte

  Faults: not_found (404), server_error (500), close (no answer), reset, silence (no answer, connection kept),
  garbage, two_pieces, wrong_length (Content-Length), oversize (more than a gateway takes). A fault uses up no
  step of codes and gets. What carries no UUID (downloads, wild requests) counts as one gateway more.
  Without --scenario every gateway is registered, asked for its five packages at its first report and for its
  counters at every later one. "replay: FILE" gives the answers of a journal again. SIGHUP reads the file again.

Console: a page for the browser and an HTTP interface to see and drive all of this; docs/console.md tells it whole.
  GET  /api/platform  /api/gateways  /api/exchanges  /api/events  /api/answers  /api/scenario
  POST /api/gateways/UUID/gets {"path": "NUVEK.Counter"}      asked at the gateway's next contact
  POST /api/answers {"kind": "SiteSpeed", "code": -3}         or "bytes" or "fault": the next answer
  PUT  /api/scenario                                          another scenario, as YAML

Journal: one JSON object a line, appended and written through at once: time (UTC), peer, kind, verdict ("ok" or
  a list of findings), uuid, id, path, code (the one answered; of a GetResponse the one received), outcome,
  request, answer. The last two are the bytes on the wire, one character each (U+0080 to U+00FF for bytes above 127).
  Downloads of one path by one client are one exchange, told a second after the last of them.

End: SIGTERM or SIGINT. Status 0, 1 for a refused scenario, a port or file that cannot be had or a journal that
  could not be written to its end, 2 for wrong options, 3 with --strict after findings.)";

}  // namespace

std::optional<Options> read_options(int argc, char** argv, int& status) {
  Options options;
  CLI::App app{kAbout, "nuvek-platform"};
  app.add_option("--address", options.address, "Address to listen on, 127.0.0.1 by default; 0.0.0.0 is every one")
      ->check(CLI::ValidIPV4)
      ->type_name("ADDRESS");
  app.add_option("--port", options.port, "TCP port, 80 by default; 0 takes any free one")
      ->check(CLI::Range(0, 65535))
      ->type_name("PORT");
  app.add_option("--port-file", options.port_file, "Write the port number to this file once it listens")
      ->type_name("FILE");
  app.add_option("--scenario", options.scenario, "What to answer, see below")->type_name("FILE");
  app.add_option("--journal", options.journal, "Append every exchange to this file, see below")->type_name("FILE");
  app.add_option("--console", options.console,
                 "Serve the console there, on 127.0.0.1 unless an address is named; see below")
      ->check([](const std::string& text) {
        return console::read_place(text) ? std::string() : "expected [ADDRESS:]PORT or fd:NUMBER";
      })
      ->type_name("[ADDRESS:]PORT|fd:N");
  app.add_option("--console-port-file", options.console_port_file, "Write the console's port number to this file")
      ->type_name("FILE");
  app.add_option("--desk-control", options.desk_control, "Relay the console's /api/desk to this Unix socket")
      ->check([](const std::string& name) {
        return name.size() < sizeof(sockaddr_un::sun_path) ? std::string() : "too long for the name of a socket";
      })
      ->type_name("SOCKET");
  app.add_flag("--strict", options.strict, "End with status 3 if there were findings");
  app.footer(kFooter);
  try {
    app.parse(argc, argv);
    return options;
  } catch (const CLI::ParseError& error) {
    status = app.exit(error) == 0 ? 0 : kBadOptions;
    return std::nullopt;
  }
}

}  // namespace desk
