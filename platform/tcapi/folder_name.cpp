#include "platform/tcapi/folder_name.h"

#include <unistd.h>

#include <cstring>

namespace tcapi_store {
namespace {

constexpr char kFolder[] = "/var/lib/tcapi";  // below the root

// Where there is no environment at all, after clearenv().
char* g_nothing[] = {nullptr};

char** variables_now() { return environ != nullptr ? environ : g_nothing; }

const char* last_of(char** variables, char** end) { return end != variables ? end[-1] : nullptr; }

// Where a variable stands, by its name and the '='; the end of the variables when it is not set.
char** find(char** variables, const char* name) {
  while (*variables != nullptr && strncmp(*variables, name, strlen(name)) != 0) ++variables;
  return variables;
}

}  // namespace

// A new value takes its variable's place, a new variable comes last, and one that goes moves the last one forward: so
// every variable stands where it stood while the last one does.
bool FolderName::is_current() const {
  if (variables_now() != variables_ || *end_ != nullptr || last_of(variables_, end_) != last_) return false;
  if (naming_ == nullptr) return true;
  const char* const value = *naming_ + value_begin_;
  return strncmp(value, path_, value_length_) == 0 && value[value_length_] == '\0';
}

bool FolderName::take() {
  char** const variables = variables_now();
  const char* name = "TCAPI_STORE=";
  const char* rest = "";
  char** place = find(variables, name);
  if (*place == nullptr) {
    name = "NUVEK_ROOT=";
    rest = kFolder;
    place = find(variables, name);
  }
  const char* const value = *place != nullptr ? *place + strlen(name) : "";
  const size_t length = strlen(value);
  if (length + strlen(rest) >= sizeof path_) return false;

  memcpy(path_, value, length);
  memcpy(path_ + length, rest, strlen(rest) + 1);
  naming_ = *place != nullptr ? place : nullptr;
  value_begin_ = strlen(name);
  value_length_ = length;
  variables_ = variables;
  for (end_ = variables; *end_ != nullptr; ++end_) {
  }
  last_ = last_of(variables_, end_);
  return true;
}

}  // namespace tcapi_store
