// Any text as a configuration document, in memory and in a file, as a list of such documents and as
// each of their parts, then every read access to what came of it.
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include "fuzz/scratch_file.hpp"
#include "fuzz/walk.hpp"
#include "include/commonconfig.h"
#include "include/configparams.h"

namespace {

void Look(rfAECommonConfigConfigObj &group) {
  for (uint32_t i = 0; i < group.ConfigParam.count; ++i) {
    const rfAECommonConfigConfigParam &param = group.ConfigParam.list[i];
    if (param.type > CONFIG_TYPE_BLOB) abort();
    rfAECommonConfigConfigParam *found = nullptr;
    if (param.parameterName != nullptr)
      if (!getAEParameterinArray(&group.ConfigParam, param.parameterName, &found)) abort();
  }
}

void Look(rfAECommonConfigConfigObjArray &groups) {
  for (uint32_t i = 0; i < groups.count; ++i) {
    Look(groups.list[i]);
    rfAECommonConfigConfigObj *found = nullptr;
    if (groups.list[i].parameterGroup != nullptr)
      if (!getAEParameterGroup(&groups, groups.list[i].parameterGroup, &found)) abort();
  }
}

void ReadParts(const cu_fuzz::Document &text) {
  // Lists that cannot grow lose their elements.
  text.ReadList(deserialize_rfAECommonConfigArray, free_rfAECommonConfigArray, true);
  text.ReadList(
      deserialize_rfAECommonConfigConfigObjArray, free_rfAECommonConfigConfigObjArray,
      [](rfAECommonConfigConfigObjArray &groups) { Look(groups); }, true);
  text.ReadList(deserialize_rfAECommonConfigConfigParamArray, free_rfAECommonConfigConfigParamArray,
                true);
  text.Read(deserialize_rfAECommonConfigConfigObj, free_rfAECommonConfigConfigObj,
            [](rfAECommonConfigConfigObj &group) { Look(group); });
  text.Read(deserialize_rfAECommonConfigConfigParam, free_rfAECommonConfigConfigParam);
}

bool Same(const char *a, const char *b) {
  return a == nullptr || b == nullptr ? a == b : strcmp(a, b) == 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  rfAECommonConfig config = {};
  const int32_t accepted =
      parseJsonBuffer(reinterpret_cast<const char *>(data), static_cast<uint32_t>(size), 1,
                      ProcessDecoderDefinitions, &config);
  if (!accepted) return 0;  // a file of this text would lose its stream
  Look(config.ConfigObj);
  cu_fuzz::ReadDocument(data, size, ReadParts);

  rfAECommonConfig loaded = {};
  const std::string path = cu_fuzz::WriteScratchFile("config.json", data, size);
  if (!aeloadConfiguration(path.c_str(), &loaded)) abort();
  if (loaded.ConfigObj.count != config.ConfigObj.count ||
      loaded.logFileSize != config.logFileSize || !Same(loaded.ipcName, config.ipcName) ||
      !Same(loaded.logfile, config.logfile) || !Same(loaded.logCtrlFile, config.logCtrlFile))
    abort();
  aeFreeConfiguration(&loaded);
  // A document can repeat keys, and what a repeated key replaces is lost by design: leaks are not
  // looked for here (see run.sh).
  aeFreeConfiguration(&config);
  return 0;
}
