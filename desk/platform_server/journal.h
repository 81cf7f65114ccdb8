// The exchange journal: one JSON object a line, written through at once, so that a script can follow it.
#ifndef NUVEK_DESK_JOURNAL_H
#define NUVEK_DESK_JOURNAL_H

#include "exchange.h"

namespace desk {

class Journal {
 public:
  // Continues `file`; no journal is kept when the name is empty. Throws when the file cannot be opened.
  explicit Journal(const std::string& file);
  ~Journal();
  Journal(const Journal&) = delete;
  Journal& operator=(const Journal&) = delete;

  // A line that cannot be written whole is taken back, and the journal ends there, for good: one with holes would tell
  // a wrong story. False for that line; whoever writes goes on.
  bool write(const Exchange& exchange);

  const std::string& file() const { return file_; }
  const std::string& error() const { return error_; }  // why it ended, empty as long as it has not

 private:
  std::string file_;
  std::string error_;
  int descriptor_ = -1;
};

}  // namespace desk

#endif
