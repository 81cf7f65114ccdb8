// The exchange journal: one JSON object a line, written through at once, so that a script can follow it.
#ifndef NUVEK_DESK_JOURNAL_H
#define NUVEK_DESK_JOURNAL_H

#include <fstream>

#include "exchange.h"

namespace desk {

class Journal {
 public:
  // Continues `file`; no journal is kept when the name is empty. Throws when the file cannot be written, here and
  // later: a journal with holes would tell a wrong story.
  explicit Journal(const std::string& file);
  void write(const Exchange& exchange);

 private:
  std::string file_;
  std::ofstream out_;
};

}  // namespace desk

#endif
