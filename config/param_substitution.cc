#include "include/configparams.h"

#include <string_view>

#include "config/param_lookup.hpp"
#include "text/substitute.hpp"

int SubAmbrelCommonConfigParamListIntoTokenString(const char *text,
                                                  const rfAECommonConfigConfigParamArray *params,
                                                  char **out) {
  if (text == nullptr || params == nullptr || out == nullptr) return 0;
  cu::Owned<char> filled = cu::Substitute(text, '<', '>', [=](std::string_view name) {
    const rfAECommonConfigConfigParam *const param = cu::FindParameter(*params, name);
    return param == nullptr ? nullptr : param->parameterValue;
  });
  if (!filled) return 0;
  *out = filled.release();
  return 1;
}
