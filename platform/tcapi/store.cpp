#include "platform/tcapi/store.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace tcapi_store {
namespace {

constexpr mode_t kFolderMode = 0777;  // less the umask

}  // namespace

bool Store::refresh() {
  if (!follow_environment()) return false;
  if (is_current()) return true;
  const LockedFolder folder(folder_path());
  return attach(folder) && load(folder);
}

bool Store::is_current() const { return is_loaded_ && generation_.read() == loaded_generation_; }

Place Store::find(std::string_view node, std::string_view attr) const {
  return tcapi_store::find(text(), index_, node, attr);
}

bool Store::change(const char* node, const char* attr, const char* value) {
  if (!follow_environment()) return false;
  if (node == nullptr || attr == nullptr || value == nullptr || !is_sane_name(node) || !is_sane_name(attr)) {
    refusing_.say("cannot set: a name is 1 to %zu visible characters without '=', '#', '[' and ']'", kNameMaxChars);
    return false;
  }
  const std::string_view new_value{value, strnlen(value, TCAPI_VALUE_MAX + 1)};
  if (new_value.size() > TCAPI_VALUE_MAX) {
    refusing_.say("cannot set %s %s: the value is longer than %d characters", node, attr, TCAPI_VALUE_MAX);
    return false;
  }
  const LockedFolder folder(folder_path());
  if (!attach(folder) || !load_if_changed(folder)) return false;
  const Place place = find(node, attr);
  char entry[kEntryMaxBytes];
  const std::string_view middle{entry, write_entry(place, node, attr, new_value, entry)};
  const char* const old = text().data();
  if (std::string_view{old + place.begin, place.end - place.begin} == middle) return true;
  return publish(folder, {{old, place.begin}, middle, {old + place.end, text().size() - place.end}});
}

bool Store::save() {
  if (!follow_environment()) return false;
  const LockedFolder folder(folder_path());
  if (!attach(folder)) return false;
  // What stands in flash may be somebody's spoiled work: it must be a store before a store takes its place.
  forget();
  if (read(folder, kFlashFile, saving_) == Reading::kRefused) return false;
  return load(folder) && replace_flash(folder);
}

// Takes the folder that the environment names now. Returns false when there is no such path.
bool Store::follow_environment() {
  if (folder_name_.is_current()) return true;
  if (!folder_name_.take()) {
    loading_.say("the path of the store's folder is longer than %zu characters", kPathMaxBytes - 1);
    return false;
  }
  forget();
  return true;
}

// Maps the generation of this folder's lock file, unless it is mapped already.
bool Store::attach(const LockedFolder& folder) {
  struct stat status;
  if (!folder.is_held() || fstat(folder.lock_fd(), &status) != 0) {
    loading_.say("%s: the store's folder cannot be used: %s", folder_path(), strerror(errno));
    return false;
  }
  const bool is_cut = generation_.is_cut();
  if (is_cut) loading_.say("%s/%s: was cut off by somebody; made anew", folder_path(), kLockFile);
  if (is_cut || !generation_.is_of(status)) {
    forget();
    if (!generation_.map(folder.lock_fd(), status)) {
      loading_.say("%s/%s: cannot be used: %s", folder_path(), kLockFile, strerror(errno));
      return false;
    }
  }
  if (generation_.read() == 0) generation_.write(Generation::after(0));
  return true;
}

bool Store::load(const LockedFolder& folder) {
  forget();
  Reading level = read(folder, kLevelFile, loading_);
  if (level == Reading::kMissing) {
    if (!make_live(folder)) return false;
    level = read(folder, kLevelFile, loading_);
  }
  if (level != Reading::kSound || !make_index()) return false;
  loading_.settle();
  const uint32_t generation = generation_.read();
  const bool writer_died = generation % 2 != 0;
  loaded_generation_ = writer_died ? Generation::after(generation) : generation;
  if (writer_died) generation_.write(loaded_generation_);
  is_loaded_ = !generation_.is_cut();
  return true;
}

// For writers, who look at the file itself: the live level may have been taken away, as in a power cut, or edited.
bool Store::load_if_changed(const LockedFolder& folder) {
  struct stat status;
  const bool same_level = fstatat(folder.fd(), kLevelFile, &status, 0) == 0 && id_of(status) == text_.id();
  return (same_level && is_current()) || load(folder);
}

// Loads flash, an empty store when there is none yet, and makes it the live level.
bool Store::make_live(const LockedFolder& folder) {
  const Reading flash = read(folder, kFlashFile, loading_);
  if (flash == Reading::kRefused) return false;
  const char* const reason = flash == Reading::kMissing ? text_.assign(kFirstLine, kLastLine) : nullptr;
  if (reason == nullptr && (mkdirat(folder.fd(), kLiveFolder, kFolderMode) == 0 || errno == EEXIST)) {
    return publish(folder, {text(), {}, {}});
  }
  loading_.say("%s/%s: cannot be made: %s", folder_path(), kLiveFolder, reason != nullptr ? reason : strerror(errno));
  return false;
}

bool Store::make_index() {
  const size_t room = room_for_index(text());
  if (index_.slots == nullptr) index_ = {first_slots_, kFirstSlots};
  if (room > index_.room) {
    void* const former = index_.slots != first_slots_ ? index_.slots : nullptr;
    auto* const slots = static_cast<Slot*>(realloc(former, room * sizeof *index_.slots));
    if (slots == nullptr) {
      loading_.say("%s: the store cannot be loaded: %s", folder_path(), strerror(ENOMEM));
      return false;
    }
    index_.slots = slots;
    index_.room = room;
  }
  fill_index(text(), index_);
  return true;
}

// Makes the parts the live level. It is not brought to the disk: a power cut takes the live level anyway.
bool Store::publish(const LockedFolder& folder, const Parts& parts) {
  if (parts.head.size() + parts.middle.size() + parts.tail.size() > kStoreMaxBytes) {
    changing_.say("%s: the store is full (%zu bytes)", folder_path(), kStoreMaxBytes);
    return false;
  }
  if (!write_file(folder.fd(), kNewLevelFile, parts, false) || !take_new_level(folder)) {
    changing_.say("%s/%s: cannot be written: %s", folder_path(), kLevelFile, strerror(errno));
    return false;
  }
  changing_.settle();
  return true;
}

bool Store::take_new_level(const LockedFolder& folder) {
  forget();
  const uint32_t generation = generation_.read();
  generation_.write(generation | 1U);
  const bool taken = renameat(folder.fd(), kNewLevelFile, folder.fd(), kLevelFile) == 0;
  generation_.write(Generation::after(generation));
  return taken;
}

bool Store::replace_flash(const LockedFolder& folder) {
  if (write_file(folder.fd(), kNewFlashFile, {text(), {}, {}}, true) &&
      renameat(folder.fd(), kNewFlashFile, folder.fd(), kFlashFile) == 0 && fsync(folder.fd()) == 0) {
    saving_.settle();
    return true;
  }
  saving_.say("%s/%s: cannot be written: %s", folder_path(), kFlashFile, strerror(errno));
  return false;
}

// Reads one of the store's files into text_, says on standard error what is wrong with it.
Store::Reading Store::read(const LockedFolder& folder, const char* name, Complaint& complaint) {
  // Not to hang where somebody put a pipe.
  const Fd file(openat(folder.fd(), name, O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  if (!file.is_open() && errno == ENOENT) return Reading::kMissing;
  const char* const reason = text_.read(file, kStoreMaxBytes);
  if (reason != nullptr) {
    complaint.say("%s/%s: refused: %s", folder_path(), name, reason);
    return Reading::kRefused;
  }
  const Fault fault = check(text());
  if (fault.reason != nullptr) {
    complaint.say("%s/%s: refused: line %u: %s", folder_path(), name, fault.line, fault.reason);
    return Reading::kRefused;
  }
  return Reading::kSound;
}

}  // namespace tcapi_store
