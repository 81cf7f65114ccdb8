#include "agent/tasks/result_message.h"

#include <cstring>
#include <initializer_list>

#include "agent/ident/message_id.h"
#include "agent/tasks/result_state.h"

int32_t take_result_id(const char* object_path) {
  const int32_t id = nuvek_generateId();
  nuvek_set_ObjPathId(object_path, id);
  return id;
}

void add_result_envelope(const json::Message& message, int32_t id, const char* object_path, json_value* params) {
  json_AddStringToObject(message.root(), "RPCMethod", "Result");
  json_AddNumberToObject(message.root(), "ID", id);
  json_AddNumberToObject(message.root(), "TaskStatus", 0);
  json_AddStringToObject(message.root(), "ObjectPath", object_path);
  json_AddItemToObject(message.root(), "Params", params);
}

void open_speed_table(char* body) {
  static constexpr char kMember[] = "\"SpeedTable\":";
  char* quote = strstr(body, kMember);
  if (quote == nullptr) return;
  quote += strlen(kMember);
  for (const char bracket : {'[', ']'}) {
    quote = strchr(quote, '"');
    if (quote == nullptr) return;
    *quote = bracket;
  }
}

void open_path_table(char* body) {
  static constexpr char kMember[] = "\"PathTable\":";
  char* opening = strstr(body, kMember);
  if (opening == nullptr) return;
  opening += strlen(kMember);
  if (*opening == '"') *opening = '[';
  char* closing = strstr(body, "\",\"Error\":");
  if (closing != nullptr) *closing = ']';
}
