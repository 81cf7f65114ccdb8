// nuvek-platform: the desk's platform server.
#include <boost/asio/signal_set.hpp>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <iostream>

#include "listener.h"
#include "options.h"

namespace {

// Under its own name only when it is complete: a script may wait for the file to appear.
void write_port_file(const std::string& file, uint16_t port) {
  const std::string temporary = file + ".new";
  std::ofstream out(temporary);
  out << port << std::endl;
  if (!out || std::rename(temporary.c_str(), file.c_str()) != 0) {
    throw std::runtime_error("cannot write the port file " + file);
  }
}

int run(const desk::Options& options) {
  namespace asio = boost::asio;
  const desk::Scenario scenario =
      options.scenario.empty() ? desk::default_scenario() : desk::read_scenario(options.scenario);
  asio::io_context io{1};
  desk::Platform platform(io, scenario, options.journal);
  asio::signal_set signals(io, SIGTERM, SIGINT);
  signals.async_wait([&io](const boost::system::error_code&, int) { io.stop(); });

  const asio::ip::tcp::endpoint wanted(asio::ip::make_address(options.address), options.port);
  std::optional<desk::Listener> listener;
  try {
    listener.emplace(io, wanted, platform);
  } catch (const boost::system::system_error& error) {
    throw std::runtime_error("cannot listen on " + options.address + " port " + std::to_string(options.port) + ": " +
                             error.code().message());
  }
  const auto endpoint = listener->endpoint();
  std::cout << "nuvek-platform listens on " << options.address << " port " << endpoint.port() << std::endl;
  if (!options.port_file.empty()) write_port_file(options.port_file, endpoint.port());

  io.run();
  platform.speed_tests.finish();
  platform.time_line.summary(platform.conversation.gateways());
  if (!platform.journal.error().empty()) return desk::kFailed;
  return options.strict && platform.time_line.findings() ? desk::kFindings : 0;
}

}  // namespace

int main(int argc, char** argv) {
  std::signal(SIGPIPE, SIG_IGN);  // a time line that nobody reads any more does not end the platform
  int status = 0;
  const auto options = desk::read_options(argc, argv, status);
  if (!options) return status;
  try {
    return run(*options);
  } catch (const std::exception& error) {
    std::cerr << "nuvek-platform: " << error.what() << std::endl;
    return desk::kFailed;
  }
}
