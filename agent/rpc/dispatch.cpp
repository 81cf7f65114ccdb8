#include "agent/rpc/dispatch.h"

#include <cstring>

#include "agent/base/counters.h"
#include "agent/base/log.h"
#include "agent/base/store.h"
#include "agent/base/store_names.h"
#include "agent/base/text.h"
#include "agent/link/object_path.h"
#include "agent/report/registration.h"
#include "agent/rpc/dispatch_steps.h"
#include "agent/rpc/get.h"
#include "agent/rpc/key_file.h"
#include "agent/tasks/back_off.h"

const RpcEntry nuvek_RPCTable[] = {
    {"Get", nuvek_RPCGet_process},
    {"Inform0Response", nuvek_RPCInform0Res_process},
    {"ResultResponse", nuvek_RPCResultRes_process},
    {nullptr, nullptr},
};

namespace {

void log_inform_code(int32_t code) {
  constexpr char kOperation[] = "nuvek_RPCInform0Res_process";
  if (code == 0) NUVEK_DEBUG_AS(kOperation, "report inform success");
  if (code == -1 || code == -2) NUVEK_ERROR_AS(kOperation, "String format error");
  if (code == -3 || code == -4) NUVEK_ERROR_AS(kOperation, "server return error");
}

}  // namespace

int nuvek_handle_message(DevInfo* devinfo, ServerArg* server, const RecvData* record) {
  NUVEK_DEBUG("Enter");
  NUVEK_DEBUG("recvdata->RPCMethod:%s", record->RPCMethod);
  NUVEK_DEBUG("recvdata->ObjectPath:%s", record->ObjectPath);
  NUVEK_DEBUG("recvdata->RegID:%s", record->RegID);
  NUVEK_DEBUG("recvdata->ID:%d", record->ID);
  NUVEK_DEBUG("recvdata->Code:%d", record->Code);
  for (const RpcEntry* entry = nuvek_RPCTable; entry->method != nullptr; ++entry) {
    if (strcmp(record->RPCMethod, entry->method) == 0) entry->handler(server, devinfo, record);
  }
  return 0;
}

int nuvek_RPCInform0Res_process(ServerArg*, DevInfo* devinfo, const RecvData* record) {
  NUVEK_DEBUG("Enter");
  if (record->RegID[0] == '\0') return 0;
  log_inform_code(record->Code);
  const char* letter = devinfo->reportInfo.GISInterface;
  if (record->Code == 0 && letter[0] != '\0') {
    nuvek_set_alreadyReport(strcmp(letter, kBlocks[kBlockA].letter) == 0 ? kBlockA : kBlockB);
  }
  text::copy(devinfo->RegID, record->RegID);
  store::write(node::kCommon, attr::kRegId, record->RegID);
  store::write_number(node::kCommon, attr::kReportStatus, record->Code);
  store::commit(node::kCommon);
  store::save();
  nuvek_save_keys(devinfo, record);
  return 0;
}

int nuvek_RPCResultRes_process(ServerArg*, DevInfo*, const RecvData* record) {
  NUVEK_DEBUG("Enter");
  char path[kObjPathSize] = "";
  nuvek_get_ObjPath(record->ID, path);
  back_off::result_came(task_of_path(path), record->Code);
  nuvek_save_Counter(record->Code == 0 ? kSuccessResult : kFailResult);
  return 0;
}
