// A folder for the files of one fuzz target's process, below the system's folder for temporary files. script/fuzz puts
// that into memory: a target writes its files anew for each input.
#ifndef NUVEK_TESTS_FUZZ_SCRATCH_H
#define NUVEK_TESTS_FUZZ_SCRATCH_H

#include <optional>
#include <string>
#include <string_view>

namespace fuzz {

class Scratch {
 public:
  Scratch();
  ~Scratch();
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;

  const std::string& path() const { return path_; }
  void make_folder(const char* name) const;
  void write(const char* name, std::string_view content) const;
  std::optional<std::string> read(const char* name) const;  // nothing when there is no such file
  void remove(const char* name) const;

 private:
  std::string path_;
};

}  // namespace fuzz

#endif
