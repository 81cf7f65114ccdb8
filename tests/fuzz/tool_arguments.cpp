// The tool "tcapi" with words and a store as a stranger may give them: one word in each line up to an empty line; what
// follows is the file "flash", and behind a form feed, if there is one, the live level. Whatever they are, the tool
// ends with one of its three statuses, a file that it refuses stays as it was, a store stays a store, and a value that
// it took it gives back.
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
  void begin(const std::string& flash, const std::optional<std::string>& level) const {
    std::filesystem::remove_all(scratch_.path() + "/store");
    scratch_.make_folder("/store/live");
    scratch_.write("/store/flash", flash);
    if (level) scratch_.write("/store/live/level", *level);
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

void check_taken(const Desk& desk, const Words& words, bool is_flash_sound) {
  int status = 0;
  FUZZ_CHECK(desk.run({"get", words[1], words[2]}, &status) == words[3] + "\n");
  FUZZ_CHECK(status == 0);
  desk.run({"save"}, &status);
  FUZZ_CHECK((status == 0) == is_flash_sound);
  FUZZ_CHECK(!is_flash_sound || desk.file("/flash") == desk.file("/live/level"));
}

// A file that was a store is one, any other is as it was.
void check_file(const std::optional<std::string>& before, const std::optional<std::string>& now) {
  FUZZ_CHECK(now.has_value());
  FUZZ_CHECK(is_sound(*before) ? is_sound(*now) : *now == *before);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const Desk s_desk;
  std::string_view files = fuzz::bytes_of(data, size);
  const Words words = take_words(files);
  if (words.size() == 1 && words[0] == "watch") return 0;  // goes on until it is interrupted
  const std::string flash(files.substr(0, files.find('\f')));
  std::optional<std::string> level;
  if (flash.size() < files.size()) level = files.substr(flash.size() + 1);
  s_desk.begin(flash, level);
  int status = 0;
  s_desk.run(words, &status);
  FUZZ_CHECK(status >= 0 && status <= 2);
  check_file(flash, s_desk.file("/flash"));
  const auto level_now = s_desk.file("/live/level");
  if (level) check_file(level, level_now);
  if (!level && level_now) FUZZ_CHECK(is_sound(flash) && is_sound(*level_now));
  if (status == 0 && words[0] == "set") check_taken(s_desk, words, is_sound(flash));
  return 0;
}
