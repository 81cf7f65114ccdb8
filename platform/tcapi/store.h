// The store of one process: the live level as it was last read, and the way to change it. Not thread-safe: the caller
// holds a lock of its own.
#ifndef NUVEK_PLATFORM_TCAPI_STORE_H
#define NUVEK_PLATFORM_TCAPI_STORE_H

#include <cstdint>
#include <string_view>

#include "platform/tcapi/complaint.h"
#include "platform/tcapi/folder_name.h"
#include "platform/tcapi/generation.h"
#include "platform/tcapi/store_file.h"
#include "platform/tcapi/store_text.h"

namespace tcapi_store {

class Store {
 public:
  // Makes text() the live level of this moment, without a system call when nobody changed it. Returns false, and says
  // why on standard error, when the store is refused.
  bool refresh();

  // Whether nobody changed the live level since the last refresh(). No system call.
  bool is_current() const;

  // Where an attribute stands in text(); after a refresh() that succeeded.
  Place find(std::string_view node, std::string_view attr) const;
  std::string_view text() const { return text_.view(); }
  const char* folder_path() const { return folder_name_.path(); }

  // Each returns false when nothing was changed, and says why on standard error.
  bool change(const char* node, const char* attr, const char* value);
  bool save();

 private:
  // Enough for a gateway's store, and room that the library's one page of data has left.
  static constexpr size_t kFirstSlots = 128;
  enum class Reading { kSound, kMissing, kRefused };

  bool follow_environment();
  bool attach(const LockedFolder& folder);
  bool load(const LockedFolder& folder);
  bool load_if_changed(const LockedFolder& folder);
  bool make_live(const LockedFolder& folder);
  bool make_index();
  bool publish(const LockedFolder& folder, const Parts& parts);
  bool take_new_level(const LockedFolder& folder);
  bool replace_flash(const LockedFolder& folder);
  Reading read(const LockedFolder& folder, const char* name, Complaint& complaint);
  void forget() { is_loaded_ = false; }

  FolderName folder_name_;
  Generation generation_;
  bool is_loaded_ = false;
  uint32_t loaded_generation_ = 0;
  FileText text_;
  Slot first_slots_[kFirstSlots]{};
  Index index_{};
  Complaint loading_;
  Complaint refusing_;
  Complaint changing_;
  Complaint saving_;
};

}  // namespace tcapi_store

#endif
