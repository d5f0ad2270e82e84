// Parameters and lists for tests, which own their texts.
#ifndef COMMONUTILITIES_TESTS_CONFIG_PARAM_HPP
#define COMMONUTILITIES_TESTS_CONFIG_PARAM_HPP

#include <stdlib.h>
#include <string.h>

#include <initializer_list>
#include <vector>

#include "include/configparams.h"

namespace cu_test {

inline char *NewText(const char *text) {
  return text == nullptr ? nullptr : strdup(text);
}

/// A parameter, released at the end.
struct Param : rfAECommonConfigConfigParam {
  Param(uint64_t of_type, const char *value) : rfAECommonConfigConfigParam{} {
    type = of_type;
    parameterValue = NewText(value);
  }
  ~Param() { free(parameterValue); }
  Param(const Param &) = delete;
  Param &operator=(const Param &) = delete;
};

struct NameAndValue {
  const char *name;
  const char *value;
};

/// A list of string parameters, released at the end.
class ParamList {
 public:
  ParamList(std::initializer_list<NameAndValue> pairs) {
    for (const NameAndValue &pair : pairs) {
      rfAECommonConfigConfigParam param = {};
      param.parameterName = NewText(pair.name);
      param.parameterValue = NewText(pair.value);
      params_.push_back(param);
    }
    array.count = static_cast<uint32_t>(params_.size());
    array.list = params_.data();
  }
  ~ParamList() {
    for (const rfAECommonConfigConfigParam &param : params_) {
      free(param.parameterName);
      free(param.parameterValue);
    }
  }
  ParamList(const ParamList &) = delete;
  ParamList &operator=(const ParamList &) = delete;

  rfAECommonConfigConfigParam *at(size_t index) { return &params_[index]; }

  rfAECommonConfigConfigParamArray array;

 private:
  std::vector<rfAECommonConfigConfigParam> params_;
};

}  // namespace cu_test

#endif
