#include "tests/fuzz/scratch.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "tests/fuzz/fuzz.h"

namespace fuzz {

Scratch::Scratch() : path_(std::filesystem::temp_directory_path() / "nuvek-fuzz-XXXXXX") {
  FUZZ_CHECK(mkdtemp(path_.data()) != nullptr);
}

Scratch::~Scratch() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

void Scratch::make_folder(const char* name) const { std::filesystem::create_directories(path_ + name); }

void Scratch::write(const char* name, std::string_view content) const {
  const int fd = open((path_ + name).c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  FUZZ_CHECK(fd >= 0);
  FUZZ_CHECK(::write(fd, content.data(), content.size()) == static_cast<ssize_t>(content.size()));
  close(fd);
}

std::optional<std::string> Scratch::read(const char* name) const {
  const int fd = open((path_ + name).c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0 && errno == ENOENT) return std::nullopt;
  FUZZ_CHECK(fd >= 0);
  std::string content;
  char block[4096];
  for (ssize_t count = 0; (count = ::read(fd, block, sizeof block)) > 0;) {
    content.append(block, static_cast<size_t>(count));
  }
  close(fd);
  return content;
}

void Scratch::remove(const char* name) const { unlink((path_ + name).c_str()); }

}  // namespace fuzz
