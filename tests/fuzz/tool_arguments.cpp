// The tool "tcapi" with words and a store as a stranger may give them: one word in each line up to an empty line; what
// follows is the file "flash". Whatever they are, the tool ends with one of its three statuses, a file that it refuses
// stays as it was, a store stays a store, and a value that it took it gives back.
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <vector>

#include "platform/tcapi/store_text.h"
#include "platform/tcapi/tool.h"
#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/scratch.h"

namespace {

using Words = std::vector<std::string>;

// The folder of the store, and the tool's two outputs in files beside it.
class Desk {
 public:
  Desk() {
    setenv("TCAPI_STORE", (scratch_.path() + "/store").c_str(), 1);
    FUZZ_CHECK(freopen((scratch_.path() + "/out").c_str(), "w", stdout) != nullptr);
  }
  void begin(std::string_view flash) const {
    std::filesystem::remove_all(scratch_.path() + "/store");
    scratch_.make_folder("/store");
    scratch_.write("/store/flash", flash);
  }
  std::optional<std::string> file(const char* name) const {
    return scratch_.read((std::string("/store") + name).c_str());
  }

  // What the tool prints, and its status.
  std::string run(const Words& words, int* status) const {
    std::vector<const char*> arguments;
    for (const std::string& word : words) arguments.push_back(word.c_str());
    rewind(stdout);
    FUZZ_CHECK(ftruncate(fileno(stdout), 0) == 0);
    *status = tcapi_store::run_tool(arguments);
    fflush(stdout);
    return *scratch_.read("/out");
  }

 private:
  fuzz::Scratch scratch_;
};

bool is_sound(const std::string& text) { return tcapi_store::check(text).reason == nullptr; }

Words take_words(std::string_view& bytes) {
  Words words;
  while (!bytes.empty()) {
    const std::string_view line = bytes.substr(0, bytes.find('\n'));
    bytes.remove_prefix(std::min(line.size() + 1, bytes.size()));
    if (line.empty()) break;
    words.emplace_back(line.substr(0, line.find('\0')));  // a program's words have no NUL
  }
  return words;
}

void check_taken(const Desk& desk, const Words& words) {
  int status = 0;
  FUZZ_CHECK(desk.run({"get", words[1], words[2]}, &status) == words[3] + "\n");
  FUZZ_CHECK(status == 0);
  desk.run({"save"}, &status);
  FUZZ_CHECK(status == 0);
  FUZZ_CHECK(desk.file("/flash") == desk.file("/live/level"));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const Desk s_desk;
  std::string_view flash = fuzz::bytes_of(data, size);
  const Words words = take_words(flash);
  if (words.size() == 1 && words[0] == "watch") return 0;  // goes on until it is interrupted
  s_desk.begin(flash);
  int status = 0;
  s_desk.run(words, &status);
  FUZZ_CHECK(status >= 0 && status <= 2);
  const bool was_sound = is_sound(std::string(flash));
  const auto now = s_desk.file("/flash");
  FUZZ_CHECK(now.has_value());
  FUZZ_CHECK(was_sound ? is_sound(*now) : *now == flash);
  if (const auto level = s_desk.file("/live/level")) FUZZ_CHECK(was_sound && is_sound(*level));
  if (status == 0 && words[0] == "set") check_taken(s_desk, words);
  return 0;
}
