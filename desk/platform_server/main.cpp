// nuvek-platform: the desk's platform server.
#include <boost/asio/signal_set.hpp>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <iostream>

#include "console/console.h"
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

void reread_on(boost::asio::signal_set& signals, desk::ScenarioKeeper& keeper) {
  signals.async_wait([&](const boost::system::error_code& error, int) {
    if (error) return;
    keeper.reread();
    reread_on(signals, keeper);
  });
}

void start_console(std::optional<desk::console::Console>& console, boost::asio::io_context& io,
                   desk::Platform& platform, const desk::Options& options,
                   const boost::asio::ip::tcp::endpoint& gateways) {
  const desk::console::About about{gateways.address().to_string(), gateways.port(), options.strict,
                                   !options.desk_control.empty()};
  console.emplace(io, *desk::console::read_place(options.console), platform, about, options.desk_control);
  const auto own = console->endpoint();
  std::cout << "console at http://" << own.address().to_string() << ":" << own.port() << "/" << std::endl;
  if (!options.console_port_file.empty()) write_port_file(options.console_port_file, own.port());
}

int run(const desk::Options& options) {
  namespace asio = boost::asio;
  asio::io_context io{1};
  desk::Platform platform(io, options.scenario, options.journal, !options.console.empty());
  asio::signal_set signals(io, SIGTERM, SIGINT);
  signals.async_wait([&io](const boost::system::error_code&, int) { io.stop(); });

  asio::signal_set again(io, SIGHUP);
  reread_on(again, platform.keeper);

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

  std::optional<desk::console::Console> console;
  if (!options.console.empty()) start_console(console, io, platform, options, endpoint);

  io.run();
  platform.speed_tests.finish();
  platform.time_line.summary(platform.book.seen());
  if (!platform.journal.error().empty()) return desk::kFailed;
  return options.strict && platform.time_line.findings() != 0 ? desk::kFindings : 0;
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
