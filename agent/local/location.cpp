#include "agent/local/location.h"

#include <cstdio>
#include <cstdlib>
#include <initializer_list>

#include "agent/base/log.h"
#include "agent/base/store.h"
#include "agent/base/store_names.h"
#include "agent/base/text.h"
#include "agent/json/json_value.h"
#include "agent/local/location_steps.h"

namespace {

const LocationBlock& kPosted = kBlocks[kBlockA];  // what is posted becomes block A

// A message's members and the texts that they become.
struct Member {
  char name[16];
  LocationText text;
};
constexpr Member kMembers[] = {
    {"Longitude", kLong},
    {"Latitude", kLat},
    {"HorizontalError", kHorizontalError},
    {"AltitudeError", kVerticalError},
    {"AreaCode", kAreaCode},
    {"GISDigest", kGISDigest},
    {"Elevation", kAltitudes},
    {"TimeStamp", kGISLockTime},
};

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
  store::read(kPosted.node, attr::kGisInterface, letter);
  if (letter[0] != '\0') {
    NUVEK_DEBUG("location locked");
    return kLocationLocked;
  }
  const json::Document message(request);
  if (message.no_memory()) {
    NUVEK_ERROR("no memory");  // half a location would be locked like a whole one
    return kLocationUnread;
  }
  for (const Member& member : kMembers) {
    message.copy(member.name, text_of(*record, member.text), kLocationTexts[member.text].size);
  }
  text::copy(record->GISInterface, kPosted.letter);
  normalise(record->Long);
  normalise(record->Lat);
  display_Coordinate(record);

  for (const LocationText text : kStoredLocation) {
    store::write(kPosted.node, kLocationTexts[text].name, text_of(*record, text));
  }
  store::write(kPosted.node, attr::kGisInterface, kPosted.letter);
  store::commit(kPosted.node);
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
  for (const LocationText text : {kLong, kLat, kHorizontalError, kVerticalError, kAreaCode, kGISLockTime, kGISDigest,
                                  kAltitudes, kGISInterface}) {
    NUVEK_DEBUG("tmp->%s:%s\n", kLocationTexts[text].name, text_of(*record, text));
  }
}
