#include "files.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

namespace desk::console {
namespace {

namespace http = boost::beast::http;

constexpr size_t kMaxFile_bytes = 4 * 1024 * 1024;
constexpr int kMaxFolders = 3;

// A file with any other ending is not served.
const std::map<std::string, const char*> kTypes = {{".css", "text/css; charset=utf-8"},
                                                   {".geojson", "application/json"},
                                                   {".html", "text/html; charset=utf-8"},
                                                   {".ico", "image/x-icon"},
                                                   {".js", "text/javascript; charset=utf-8"},
                                                   {".json", "application/json"},
                                                   {".mjs", "text/javascript; charset=utf-8"},
                                                   {".png", "image/png"},
                                                   {".svg", "image/svg+xml"},
                                                   {".txt", "text/plain; charset=utf-8"},
                                                   {".woff2", "font/woff2"}};

bool is_plain(unsigned char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '.' || c == '_' ||
         c == '-' || c == '/';
}

// Names without a leading dot, with one slash ahead of each: nothing that leads out of the folder, or to what is
// hidden.
bool is_safe(const std::string& path) {
  if (path.empty() || path[0] != '/' || path.back() == '/') return false;
  if (!std::all_of(path.begin(), path.end(), is_plain)) return false;
  if (path.find("//") != std::string::npos || path.find("/.") != std::string::npos) return false;
  return std::count(path.begin(), path.end(), '/') <= kMaxFolders + 1;
}

[[noreturn]] void no_such_file() { throw Refusal{Status::not_found, "no such page", ""}; }

}  // namespace

Files::Files() {
  std::error_code error;
  const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
  folder_ = program.parent_path().parent_path() / "share" / "nuvek" / "console";
}

Response Files::get(const std::string& path) const {
  const std::string name = path == "/" ? "/index.html" : path;
  const auto type = kTypes.find(std::filesystem::path(name).extension());
  if (!is_safe(name) || type == kTypes.end()) no_such_file();
  std::error_code error;
  const auto file = folder_ + name;
  const bool regular = std::filesystem::is_regular_file(file, error);
  const auto size = std::filesystem::file_size(file, error);
  if (error || !regular || size > kMaxFile_bytes) no_such_file();
  std::ifstream in(file, std::ios::binary);
  std::string body(size, '\0');
  if (!in.read(body.data(), static_cast<std::streamsize>(size))) no_such_file();
  Response response(Status::ok, 11);
  response.set(http::field::content_type, type->second);
  response.body() = std::move(body);
  return response;
}

}  // namespace desk::console
