// Any text as a parameter's value and type: getters, setters, clone and substitution.
#include <fuzzer/FuzzedDataProvider.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include "include/configparams.h"

namespace {

void Read(const rfAECommonConfigConfigParam &param) {
  uint32_t u32 = 0;
  int32_t i32 = 0;
  uint64_t u64 = 0;
  int64_t i64 = 0;
  uint16_t u16 = 0;
  uint8_t u8 = 0;
  float single = 0;
  getAEParameterAsUnsignedInteger(&param, &u32);
  getAEParameterAsInteger(&param, &i32);
  getAEParameterAsUnsignedInteger64(&param, &u64);
  getAEParameterAsInteger64(&param, &i64);
  getAEParameterAsUnsignedInteger16(&param, &u16);
  getAEParameterAsUnsignedInteger8(&param, &u8);
  getAEParameterAsFloat(&param, &single);
  getAEParameterAsBoolean(&param, &u8);
}

/// The lookups agree with each other.
void Find(const rfAECommonConfigConfigParamArray &list, const std::string &name) {
  rfAECommonConfigConfigParam *found[3] = {};
  getAEParameterinArray(&list, name.c_str(), &found[0]);
  getAEParameterinGroup(&list, name.c_str(), &found[1]);
  getAEModifyParameterinArray(&list, name.c_str(), &found[2]);
  if (found[0] != found[1] || found[0] != found[2]) abort();

  rfAECommonConfigConfigObj groups[2] = {};
  groups[0].parameterGroup = list.list[0].parameterName;
  const rfAECommonConfigConfigObjArray array = {2, groups};
  rfAECommonConfigConfigObj *group = nullptr, *same = nullptr;
  getAEParameterGroup(&array, name.c_str(), &group);
  getAEParameterGroupFromArray(&array, name.c_str(), &same);
  if (group != same || (group == nullptr) != (found[0] == nullptr)) abort();
}

/// A value set as bytes is what the setter was given.
void Set(const std::string &value, uint64_t type, const std::string &bytes) {
  rfAECommonConfigConfigParam param = {};
  param.type = type;
  param.parameterValue = strdup(value.c_str());
  char *const old = param.parameterValue;
  if (setAEParameterValue(&param, bytes.data(), static_cast<uint32_t>(bytes.size()))) {
    free(old);
    if (memcmp(param.parameterValue, bytes.data(), bytes.size()) != 0) abort();
    Read(param);
  }
  free(param.parameterValue);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  FuzzedDataProvider input(data, size);
  std::string name = input.ConsumeRandomLengthString(32).c_str();
  std::string value = input.ConsumeRandomLengthString(64).c_str();
  rfAECommonConfigConfigParam params[2] = {};
  params[0].parameterName = name.data();
  params[0].parameterValue = value.data();
  params[0].type = input.ConsumeIntegralInRange<uint64_t>(0, 11);
  params[1].type = input.ConsumeIntegral<uint64_t>();
  const rfAECommonConfigConfigParamArray list = {2, params};
  for (const rfAECommonConfigConfigParam &param : params) Read(param);

  rfAECommonConfigConfigParamArray copy = {};
  if (cloneAmbrelCommonConfigParamList(&list, &copy)) {
    for (uint32_t i = 0; i < copy.count; ++i) {
      rfAECommonConfigConfigParam &param = copy.list[i];
      char *const old = param.parameterValue;
      const int64_t number = input.ConsumeIntegral<int64_t>();
      if (setAEIntegerParameterValue(&param, number) ||
          setAEFloatParameterValue(&param, static_cast<float>(number)))
        free(old);
      Read(param);
    }
    free_rfAECommonConfigConfigParamArray(&copy);
  }

  const std::string text = input.ConsumeRemainingBytesAsString();
  Find(list, text);
  Set(value, params[0].type, text);
  getParameterBase(text.c_str());
  char *out = nullptr;
  if (SubAmbrelCommonConfigParamListIntoTokenString(text.c_str(), &list, &out)) free(out);
  return 0;
}
