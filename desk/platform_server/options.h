// The command line.
#ifndef NUVEK_DESK_OPTIONS_H
#define NUVEK_DESK_OPTIONS_H

#include <cstdint>
#include <optional>
#include <string>

namespace desk {

// Exit statuses.
constexpr int kFailed = 1;  // scenario refused, port not to be had, journal not written to its end
constexpr int kBadOptions = 2;
constexpr int kFindings = 3;  // with --strict only

struct Options {
  std::string address = "127.0.0.1";
  uint16_t port = 80;
  std::string port_file;
  std::string scenario;
  std::string journal;
  std::string console;  // [ADDRESS:]PORT or fd:NUMBER; empty: none
  std::string console_port_file;
  std::string desk_control;
  bool strict = false;
};

// Reads the command line. Without a result the program is to end with `status`: the help was shown, or what is wrong.
std::optional<Options> read_options(int argc, char** argv, int& status);

}  // namespace desk

#endif
