#include "journal.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <iostream>
#include <stdexcept>

#include "json.h"
#include "text.h"

namespace desk {
namespace {

std::string line_of(const Exchange& exchange) {
  const Json line = {{"time", utc_text(exchange.time)},
                     {"peer", exchange.peer},
                     {"kind", name_of(exchange.kind)},
                     {"verdict", exchange.findings.empty() ? Json("ok") : Json(exchange.findings)},
                     {"uuid", exchange.uuid},
                     {"id", or_null(exchange.id)},
                     {"path", text_of_bytes(exchange.path)},
                     {"code", or_null(exchange.code)},
                     {"outcome", exchange.outcome},
                     {"request", text_of_bytes(exchange.request)},
                     {"answer", text_of_bytes(exchange.answer)}};
  // In ASCII, so that no reader takes a character for the end of a line.
  return line.dump(-1, ' ', true, Json::error_handler_t::replace) + "\n";
}

// Gives 0 or the error. What was written of an incomplete text is cut off again.
int append(int descriptor, const std::string& text) {
  const off_t before = lseek(descriptor, 0, SEEK_END);
  size_t done = 0;
  while (done < text.size()) {
    const ssize_t written = ::write(descriptor, text.data() + done, text.size() - done);
    if (written > 0) {
      done += static_cast<size_t>(written);
    } else if (written == 0 || errno != EINTR) {
      const int error = written == 0 ? ENOSPC : errno;
      if (before >= 0 && done > 0 && ftruncate(descriptor, before) != 0) return errno;
      return error;
    }
  }
  return 0;
}

}  // namespace

Journal::Journal(const std::string& file) : file_(file) {
  if (file.empty()) return;
  descriptor_ = open(file.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
  if (descriptor_ < 0) throw std::runtime_error("cannot write the journal " + file_ + ": " + std::strerror(errno));
}

Journal::~Journal() {
  if (descriptor_ >= 0) close(descriptor_);
}

bool Journal::write(const Exchange& exchange) {
  if (descriptor_ < 0) return true;
  const int error = append(descriptor_, line_of(exchange));
  if (error == 0) return true;
  error_ = std::strerror(error);
  close(descriptor_);
  descriptor_ = -1;
  std::cerr << "nuvek-platform: cannot write the journal " << file_ << ": " << error_ << "; it ends here" << std::endl;
  return false;
}

}  // namespace desk
