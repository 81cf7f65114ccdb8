// The document tree beside cJSON's and RapidJSON's, over this protocol's own messages.
#include <cjson/cJSON.h>
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <cstdlib>
#include <cstring>

#include "agent/json/json_build.h"
#include "bench/operations.h"

namespace {

constexpr char kGet[] = R"({"RPCMethod":"Get","ID":12345678,"ObjectPath":"NUVEK.Counter"})";
constexpr const char* kMembers[][2] = {
    {"OperatorID", "ZELM"},      {"VendorID", "ACME"},      {"ModelStr", "HG-4210"},    {"SoftVer", "V3.1.07-desk"},
    {"SerialNum", "ACME0042D7"}, {"WANMAC", "024e56454b"},  {"DevMAC", "024e56454b02"}, {"Uplink", "GPON"},
    {"ProtocolVer", "1.0"},      {"DeviceTime", "2026112"}, {"RegID", "NUVEK-1"},       {"GISInterface", "A"},
    {"AreaCode", "110101"},      {"GISLockTime", "17000"},  {"GISDigest", ""},          {"Long", "116.39713"},
    {"Lat", "39.91653"},         {"Altitudes", "44.2"},     {"HorizontalError", "8.5"}, {"VerticalError", "3.0"},
};
constexpr int32_t kId = 12345678;

void parse(const char* text) {
  json_value* root = nullptr;
  if (json_parse_document(&root, text) != JSON_OK) abort();
  json_free_value(&root);
}

void cjson_parse(const char* text) {
  cJSON* root = cJSON_Parse(text);
  if (root == nullptr) abort();
  cJSON_Delete(root);
}

void rapidjson_parse(const char* text) {
  rapidjson::Document document;
  if (document.Parse(text).HasParseError()) abort();
}

json::Text build() {
  json::Value message = json::Value::object();
  json_AddStringToObject(message, "RPCMethod", "Inform0");
  json_AddNumberToObject(message, "ID", kId);
  json_AddStringToObject(message, "ObjectPath", "NUVEK.DeviceInfo");
  json::Value device = json::Value::object();
  for (const auto& member : kMembers) json_AddStringToObject(device, member[0], member[1]);
  json::Value wrapper = json::Value::object();
  json_AddItemToObject(wrapper, "DeviceInfo", std::move(device));
  json::Value params = json::Value::object();
  json_AddItemToObject(params, "NUVEK", std::move(wrapper));
  json_AddItemToObject(message, "Params", std::move(params));
  return message.text();
}

json::Text cjson_build() {
  cJSON* root = cJSON_CreateObject();
  cJSON_AddStringToObject(root, "RPCMethod", "Inform0");
  cJSON_AddNumberToObject(root, "ID", kId);
  cJSON_AddStringToObject(root, "ObjectPath", "NUVEK.DeviceInfo");
  cJSON* device =
      cJSON_AddObjectToObject(cJSON_AddObjectToObject(cJSON_AddObjectToObject(root, "Params"), "NUVEK"), "DeviceInfo");
  for (const auto& member : kMembers) cJSON_AddStringToObject(device, member[0], member[1]);
  json::Text text(cJSON_PrintUnformatted(root));
  cJSON_Delete(root);
  return text;
}

// Texts are copied into the document, as the other two do: a sender's buffer may change.
void rapidjson_build(rapidjson::StringBuffer& text) {
  rapidjson::Document root(rapidjson::kObjectType);
  auto& memory = root.GetAllocator();
  const auto copy = [&memory](const char* from) { return rapidjson::Value(from, memory); };
  root.AddMember(copy("RPCMethod"), copy("Inform0"), memory);
  root.AddMember(copy("ID"), rapidjson::Value(kId), memory);
  root.AddMember(copy("ObjectPath"), copy("NUVEK.DeviceInfo"), memory);
  rapidjson::Value device(rapidjson::kObjectType);
  for (const auto& member : kMembers) device.AddMember(copy(member[0]), copy(member[1]), memory);
  rapidjson::Value wrapper(rapidjson::kObjectType);
  wrapper.AddMember(copy("DeviceInfo"), device, memory);
  rapidjson::Value params(rapidjson::kObjectType);
  params.AddMember(copy("NUVEK"), wrapper, memory);
  root.AddMember(copy("Params"), params, memory);
  rapidjson::Writer<rapidjson::StringBuffer> writer(text);
  root.Accept(writer);
}

}  // namespace

void add_json(std::vector<Operation>& operations) {
  static const std::string inform0 = build().get();
  rapidjson::StringBuffer rapidjson_text;
  rapidjson_build(rapidjson_text);
  if (inform0 != cjson_build().get() || inform0 != rapidjson_text.GetString()) abort();  // all make the same message

  for (const auto& [subject, text] :
       {std::pair{"parse a Get", std::string(kGet)}, std::pair{"parse an Inform0", inform0}}) {
    operations.push_back({subject, "nuvek", [text = text] { parse(text.c_str()); }});
    operations.push_back({subject, "cJSON", [text = text] { cjson_parse(text.c_str()); }});
    operations.push_back({subject, "RapidJSON", [text = text] { rapidjson_parse(text.c_str()); }});
  }
  operations.push_back({"build and print an Inform0", "nuvek", [] { build(); }});
  operations.push_back({"build and print an Inform0", "cJSON", [] { cjson_build(); }});
  operations.push_back({"build and print an Inform0", "RapidJSON", [] {
                          rapidjson::StringBuffer text;
                          rapidjson_build(text);
                        }});
}
