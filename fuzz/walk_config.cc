// Any text as a configuration document, then every read access to what came of it.
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include "include/commonconfig.h"
#include "include/configparams.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  rfAECommonConfig config = {};
  parseJsonBuffer(reinterpret_cast<const char *>(data), static_cast<uint32_t>(size), 1,
                  ProcessDecoderDefinitions, &config);
  for (uint32_t i = 0; i < config.ConfigObj.count; ++i) {
    const rfAECommonConfigConfigObj &group = config.ConfigObj.list[i];
    for (uint32_t j = 0; j < group.ConfigParam.count; ++j) {
      const rfAECommonConfigConfigParam &param = group.ConfigParam.list[j];
      if (param.type > CONFIG_TYPE_BLOB) abort();
      rfAECommonConfigConfigParam *found = nullptr;
      if (param.parameterName != nullptr)
        if (!getAEParameterinArray(&group.ConfigParam, param.parameterName, &found)) abort();
    }
  }
  // A document can repeat keys, and what a repeated key replaces is lost by design: leaks are not
  // looked for here (see run.sh).
  aeFreeConfiguration(&config);
  return 0;
}
