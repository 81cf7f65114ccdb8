// The files of the console's page.
#ifndef NUVEK_DESK_CONSOLE_FILES_H
#define NUVEK_DESK_CONSOLE_FILES_H

#include "http.h"

namespace desk::console {

class Files {
 public:
  // From the folder beside the program's own, installed or in a build folder.
  Files();

  // Throws Refusal.
  Response get(const std::string& path) const;

 private:
  std::string folder_;
};

}  // namespace desk::console

#endif
