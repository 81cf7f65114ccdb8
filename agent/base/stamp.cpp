#include "agent/base/stamp.h"

#include "agent/base/store.h"
#include "agent/base/store_names.h"
#include "agent/base/text.h"

bool Stamp::look(int32_t* seconds) {
  char text[16] = "";
  const bool is_told = store::read(node::kCommon, attribute_, text);
  if (is_told && !is_refused_) is_remembered_ = false;
  *seconds = is_remembered_ ? written_s_ : text::to_int32(text);
  return is_remembered_ || text[0] != '\0';
}

int32_t Stamp::read() {
  int32_t seconds = 0;
  look(&seconds);
  return seconds;
}

bool Stamp::is_set() {
  int32_t seconds = 0;
  return look(&seconds);
}

void Stamp::write(int32_t now_s) {
  is_refused_ = !store::write_number(node::kCommon, attribute_, now_s);
  is_remembered_ = true;
  written_s_ = now_s;
}
