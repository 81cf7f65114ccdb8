#include "agent/ident/message_id.h"

#include <cstdlib>
#include <ctime>

int32_t nuvek_generateId() {
  bool used[10] = {};
  int32_t result = 0;
  int32_t place = 100000000;  // ten times the value of the next position
  srand(static_cast<unsigned>(time(nullptr)));
  while (place > 1) {
    const int digit = rand() % 10;
    const bool leading_zero = digit == 0 && result == 0;
    if (used[digit] || leading_zero) continue;
    used[digit] = true;
    place /= 10;
    result += digit * place;
  }
  return result;
}
