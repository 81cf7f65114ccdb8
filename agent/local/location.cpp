#include "agent/local/location.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "agent/base/log.h"
#include "agent/base/store.h"
#include "agent/base/text.h"
#include "agent/json/json_value.h"

namespace {

constexpr char kNode[] = "nuvek_Entry0";

bool is_digit(char c) { return c >= '0' && c <= '9'; }

// Reads an exponent's digits; what 32 bits cannot hold saturates, which is far beyond any double.
double read_exponent(const char* text) {
  const bool negative = *text == '-';
  if (*text == '-' || *text == '+') ++text;
  const double magnitude = is_digit(*text) ? text::to_int32(text) : 0;
  return negative ? -magnitude : magnitude;
}

// 10 to a whole power, rounded alike on every machine. The C library's number parser does it: the one pow() of the
// agent would load the mathematics library into every gateway's memory.
double power_of_ten(double exponent) {
  char text[32];
  snprintf(text, sizeof text, "1e%.0f", exponent);
  return strtod(text, nullptr);
}

// The store keeps coordinates with five decimals, and no more digits than single precision gives.
void normalise(char (&coordinate)[32]) {
  const double value = static_cast<double>(nuvek_strToFloat(coordinate));
  snprintf(coordinate, sizeof coordinate, "%.5f", value);
}

}  // namespace

int nuvek_save_node(const char* request, char*, GisInfo* record) {
  char letter[8] = "";
  store::read(kNode, "GISInterface", letter);
  if (letter[0] != '\0') {
    NUVEK_DEBUG("location locked");
    return kLocationLocked;
  }
  bool no_memory = false;
  const json::Tree message = json::parse(request, &no_memory);
  if (no_memory) {
    NUVEK_ERROR("no memory");  // half a location would be locked like a whole one
    return kLocationUnread;
  }
  json::copy_value(message, "Longitude", record->Long);
  json::copy_value(message, "Latitude", record->Lat);
  json::copy_value(message, "HorizontalError", record->HorizontalError);
  json::copy_value(message, "AltitudeError", record->VerticalError);
  json::copy_value(message, "AreaCode", record->AreaCode);
  json::copy_value(message, "GISDigest", record->GISDigest);
  json::copy_value(message, "Elevation", record->Altitudes);
  json::copy_value(message, "TimeStamp", record->GISLockTime);
  text::copy(record->GISInterface, "A");
  normalise(record->Long);
  normalise(record->Lat);
  display_Coordinate(record);

  const struct {
    const char* attr;
    const char* value;
  } writes[] = {
      {"Long", record->Long},
      {"Lat", record->Lat},
      {"Altitudes", record->Altitudes},
      {"HorizontalError", record->HorizontalError},
      {"VerticalError", record->VerticalError},
      {"AreaCode", record->AreaCode},
      {"GISLockTime", record->GISLockTime},
      {"GISDigest", record->GISDigest},
      {"GISInterface", "A"},
  };
  for (const auto& write : writes) store::write(kNode, write.attr, write.value);
  store::commit(kNode);
  store::save();
  return kLocationStored;
}

float nuvek_strToFloat(const char* text) {
  const double sign = *text == '-' ? -1.0 : 1.0;
  if (*text == '-') ++text;
  while (*text == '0') ++text;
  double value = 0.0;
  double scale = 0.0;
  for (; is_digit(*text); ++text) value = value * 10.0 + (*text - '0');
  bool ended = false;
  if (*text == '.') {
    ended = !is_digit(text[1]);  // a point without a digit ends the number, exponent and all
    for (++text; !ended && is_digit(*text); ++text, scale -= 1.0) value = value * 10.0 + (*text - '0');
  }
  double exponent = 0.0;
  if (!ended && (*text == 'e' || *text == 'E')) exponent = read_exponent(text + 1);
  if (value == 0.0) return static_cast<float>(sign * value);  // whatever the exponent: 0 times infinity is no number
  return static_cast<float>(sign * value * power_of_ten(scale + exponent));
}

void display_Coordinate(const GisInfo* record) {
  NUVEK_DEBUG("tmp->Long:%s\n", record->Long);
  NUVEK_DEBUG("tmp->Lat:%s\n", record->Lat);
  NUVEK_DEBUG("tmp->HorizontalError:%s\n", record->HorizontalError);
  NUVEK_DEBUG("tmp->VerticalError:%s\n", record->VerticalError);
  NUVEK_DEBUG("tmp->AreaCode:%s\n", record->AreaCode);
  NUVEK_DEBUG("tmp->GISLockTime:%s\n", record->GISLockTime);
  NUVEK_DEBUG("tmp->GISDigest:%s\n", record->GISDigest);
  NUVEK_DEBUG("tmp->Altitudes:%s\n", record->Altitudes);
  NUVEK_DEBUG("tmp->GISInterface:%s\n", record->GISInterface);
}
