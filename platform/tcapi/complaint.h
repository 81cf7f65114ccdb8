// One subject that the store may complain about on standard error. A failing state is told once, however often it is
// met: an agent asks for hundreds of values a minute.
#ifndef NUVEK_PLATFORM_TCAPI_COMPLAINT_H
#define NUVEK_PLATFORM_TCAPI_COMPLAINT_H

#include <cstdint>

namespace tcapi_store {

class Complaint {
 public:
  // Prints "tcapi: " and the text as one line, unless it is what this subject said last.
  __attribute__((format(printf, 2, 3))) void say(const char* format, ...);

  // The subject is in order again: the next complaint is news, whatever it says.
  void settle() { said_ = 0; }

 private:
  uint32_t said_ = 0;  // hash of the last text, 0 for none
};

}  // namespace tcapi_store

#endif
