#include "config/param_lookup.hpp"

#include <stddef.h>
#include <stdint.h>
#include <string.h>

namespace {

/// The first element whose name `matches`; elements without a name are skipped.
template <typename Array, typename Element, typename Matches>
Element *Find(const Array &array, char *Element::*name_of, Matches matches) {
  // The count is a signed number to those who compare it.
  const auto count = static_cast<int32_t>(array.count);
  if (array.list == nullptr) return nullptr;
  for (int32_t i = 0; i < count; ++i) {
    const char *const name = array.list[i].*name_of;
    if (name != nullptr && matches(name)) return &array.list[i];
  }
  return nullptr;
}

template <typename Array, typename Element>
int Find(const Array *array, char *Element::*name_of, const char *wanted, Element **out) {
  if (array == nullptr || wanted == nullptr || out == nullptr) return 0;
  const char first = *wanted;
  Element *const found = Find(*array, name_of, [=](const char *name) {
    return *name == first && strcmp(name, wanted) == 0;
  });
  if (found == nullptr) return 0;
  *out = found;
  return 1;
}

}  // namespace

rfAECommonConfigConfigParam *cu::FindParameter(const rfAECommonConfigConfigParamArray &params,
                                               std::string_view wanted) {
  return Find(params, &rfAECommonConfigConfigParam::parameterName, [=](const char *name) {
    return strncmp(name, wanted.data(), wanted.size()) == 0 && name[wanted.size()] == '\0';
  });
}

int getAEParameterGroup(const rfAECommonConfigConfigObjArray *groups, const char *name,
                        rfAECommonConfigConfigObj **out) {
  return Find(groups, &rfAECommonConfigConfigObj::parameterGroup, name, out);
}

int getAEParameterGroupFromArray(const rfAECommonConfigConfigObjArray *groups, const char *name,
                                 rfAECommonConfigConfigObj **out) {
  return Find(groups, &rfAECommonConfigConfigObj::parameterGroup, name, out);
}

int getAEParameterinGroup(const rfAECommonConfigConfigParamArray *params, const char *name,
                          rfAECommonConfigConfigParam **out) {
  return Find(params, &rfAECommonConfigConfigParam::parameterName, name, out);
}

int getAEParameterinArray(const rfAECommonConfigConfigParamArray *params, const char *name,
                          rfAECommonConfigConfigParam **out) {
  return Find(params, &rfAECommonConfigConfigParam::parameterName, name, out);
}

int getAEModifyParameterinArray(const rfAECommonConfigConfigParamArray *params, const char *name,
                                rfAECommonConfigConfigParam **out) {
  return Find(params, &rfAECommonConfigConfigParam::parameterName, name, out);
}
