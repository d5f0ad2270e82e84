#include "config/param_lookup.hpp"

#include <stddef.h>
#include <stdint.h>
#include <string.h>

namespace {

bool IsNamed(const char *candidate, std::string_view name) {
  return candidate != nullptr && strncmp(candidate, name.data(), name.size()) == 0 &&
         candidate[name.size()] == '\0';
}

/// The first element whose text at `name_of` is `name`.
template <typename Array, typename Element>
Element *Find(const Array &array, char *Element::*name_of, std::string_view name) {
  // The count is a signed number to those who compare it.
  const auto count = static_cast<int32_t>(array.count);
  if (array.list == nullptr) return nullptr;
  for (int32_t i = 0; i < count; ++i) {
    if (IsNamed(array.list[i].*name_of, name)) return &array.list[i];
  }
  return nullptr;
}

template <typename Array, typename Element>
int Find(const Array *array, char *Element::*name_of, const char *name, Element **out) {
  if (array == nullptr || name == nullptr || out == nullptr) return 0;
  Element *const found = Find(*array, name_of, std::string_view(name));
  if (found == nullptr) return 0;
  *out = found;
  return 1;
}

}  // namespace

rfAECommonConfigConfigParam *cu::FindParameter(const rfAECommonConfigConfigParamArray &params,
                                               std::string_view name) {
  return Find(params, &rfAECommonConfigConfigParam::parameterName, name);
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
