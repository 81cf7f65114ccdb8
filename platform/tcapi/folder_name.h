// The path of the store's folder, as the environment names it: TCAPI_STORE; without it $NUVEK_ROOT/var/lib/tcapi;
// without that too /var/lib/tcapi. A program may change its environment, so every read of the store asks anew.
#ifndef NUVEK_PLATFORM_TCAPI_FOLDER_NAME_H
#define NUVEK_PLATFORM_TCAPI_FOLDER_NAME_H

#include <cstddef>

namespace tcapi_store {

constexpr size_t kPathMaxBytes = 1024;  // of the store's folder, with its terminator

class FolderName {
 public:
  // Whether the environment still names path(), without a walk over its variables.
  bool is_current() const;

  // Takes the path that the environment names now. Returns false when it is too long, and keeps the old one.
  bool take();

  const char* path() const { return path_; }

 private:
  char** variables_ = nullptr;
  char** end_ = nullptr;        // where the null behind the last variable stands
  const char* last_ = nullptr;  // the last variable
  char** naming_ = nullptr;     // where the variable stands that path_ begins with; null when there is none
  size_t value_begin_ = 0;      // of that variable's value
  size_t value_length_ = 0;
  char path_[kPathMaxBytes] = "";
};

}  // namespace tcapi_store

#endif
