#include "agent/base/stamp.h"

#include "agent/base/store.h"
#include "agent/base/store_names.h"
#include "agent/base/text.h"

int32_t Stamp::read() const {
  char seconds[16] = "";
  store::read(node::kCommon, attribute_, seconds);
  return is_refused_ ? refused_s_ : text::to_int32(seconds);
}

bool Stamp::is_set() const {
  char seconds[16] = "";
  store::read(node::kCommon, attribute_, seconds);
  return is_refused_ || seconds[0] != '\0';
}

void Stamp::write(int32_t now_s) {
  is_refused_ = !store::write_number(node::kCommon, attribute_, now_s);
  refused_s_ = now_s;
}
