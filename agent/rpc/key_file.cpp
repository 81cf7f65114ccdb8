#include "agent/rpc/key_file.h"

#include <cstring>

#include "agent/base/file.h"
#include "agent/base/log.h"
#include "agent/base/store.h"
#include "agent/base/store_names.h"
#include "agent/base/text.h"

namespace {

constexpr char kKeyFile[] = "/usr/osgi/nuvekKeyInfo";
constexpr char kNewKeyFile[] = "/usr/osgi/nuvekKeyInfo.new";
constexpr size_t kKeyTextSize = 2048;

// Appends a block that is in use: whose node in the store has exactly its letter.
void append_block(text::Builder& keys, const DevInfo& devinfo, const LocationBlock& block) {
  char letter[8] = "";
  store::read(block.node, attr::kGisInterface, letter);
  if (strcmp(letter, block.letter) != 0) return;
  const GisInfo& info = devinfo.reportInfo.*block.info;
  keys.append("Node:%s\n", block.key);
  for (const LocationText text : kStoredLocation)
    keys.append("%s=%s\n", kLocationTexts[text].name, text_of(info, text));
  keys.append("%s=%s\n", kLocationTexts[kGISInterface].name, letter);
}

}  // namespace

void nuvek_save_keys(const DevInfo* devinfo, const RecvData* record) {
  const file::Path path(kKeyFile);
  const file::Path beside(kNewKeyFile);
  file::Replacement file(path, beside);
  if (!file.is_open()) {
    NUVEK_ERROR("can't open %s\n", path.c_str());
    return;
  }
  char text[kKeyTextSize];
  text::Builder keys(text);
  for (const LocationBlock& block : kBlocks) append_block(keys, *devinfo, block);
  keys.append("Node:Common\nUUID=%s\nRegId=%s\n", devinfo->UUID, record->RegID);
  if (!file.finish(text)) NUVEK_ERROR("can't write %s\n", path.c_str());
}
