#include "include/configparams.h"

#include <stdlib.h>

#include "internal/owned.hpp"

namespace {

/// Copies a text, or null as null. False without memory.
bool CopyText(const char *source, rfString &copy) {
  copy = source == nullptr ? nullptr : cu::CopyString(source).release();
  return source == nullptr || copy != nullptr;
}

}  // namespace

int cloneAmbrelCommonConfigParamList(const rfAECommonConfigConfigParamArray *source,
                                     rfAECommonConfigConfigParamArray *copy) {
  if (source == nullptr || copy == nullptr) return 0;
  if (source->count == 0 || source->list == nullptr) return 1;

  using Param = rfAECommonConfigConfigParam;
  rfAECommonConfigConfigParamArray clone = {
      source->count, static_cast<Param *>(calloc(source->count, sizeof(Param)))};
  bool copied = clone.list != nullptr;
  for (uint32_t i = 0; i < source->count && copied; ++i) {
    const Param &from = source->list[i];
    Param &to = clone.list[i];
    to.type = from.type;
    to.reserved = from.reserved;
    copied = CopyText(from.parameterName, to.parameterName) &&
             CopyText(from.parameterValue, to.parameterValue);
  }
  if (!copied) {
    if (clone.list != nullptr) free_rfAECommonConfigConfigParamArray(&clone);
    return 0;
  }
  *copy = clone;
  return 1;
}
