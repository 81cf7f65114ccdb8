#include "agent/tasks/result_message.h"

#include <cstring>
#include <initializer_list>

#include "agent/ident/message_id.h"
#include "agent/link/object_path.h"

int32_t take_result_id(const char* object_path) {
  const int32_t id = nuvek_generateId();
  nuvek_set_ObjPathId(object_path, id);
  return id;
}

json::Value result_params(const char* name, json::Value&& result) {
  json::Value wrapper = json::Value::object();
  json_AddItemToObject(wrapper, name, std::move(result));
  json::Value params = json::Value::object();
  json_AddItemToObject(params, "NUVEK", std::move(wrapper));
  return params;
}

json::Value result_message(int32_t id, const char* object_path, json::Value&& params) {
  json::Value message = json::Value::object();
  json_AddStringToObject(message, "RPCMethod", "Result");
  json_AddNumberToObject(message, "ID", id);
  json_AddNumberToObject(message, "TaskStatus", 0);
  json_AddStringToObject(message, "ObjectPath", object_path);
  json_AddItemToObject(message, "Params", std::move(params));
  return message;
}

// Not a part of its callers: their name look-ups and file reads must not stand on a stack with this body.
__attribute__((noinline)) void send_result(const ReportLink& link, const json::Value& message, const char* uuid,
                                           void (*open_table)(char* body)) {
  char body[kResultBodySize];
  message.print_body(body, sizeof body, uuid);
  open_table(body);
  link.send(body);
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
