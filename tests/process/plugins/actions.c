/* A plug-in whose methods do what a test asks of a custom action's method. */
#include <stdlib.h>
#include <string.h>

#include "include/configparams.h"
#include "include/customaction.h"

#define METHOD __attribute__((visibility("default"))) uint32_t

METHOD addArguments(uint32_t first, uint32_t second, rfAECommonConfigConfigParamArray *output) {
  (void)output;
  return first + second;
}

METHOD countOutputs(uint32_t first, uint32_t second, rfAECommonConfigConfigParamArray *output) {
  (void)first;
  (void)second;
  return output->count + 100;
}

/* Fills "mean" and "report", leaves the others. */
METHOD fillOutputs(uint32_t first, uint32_t second, rfAECommonConfigConfigParamArray *output) {
  rfAECommonConfigConfigParam *param = NULL;
  (void)first;
  (void)second;
  if (!getAEParameterinArray(output, "mean", &param)) return 0;
  free(param->parameterValue);
  if (!setAEFloatParameterValue(param, 36.5F)) return 0;
  if (!getAEParameterinArray(output, "report", &param)) return 0;
  free(param->parameterValue);
  return (uint32_t)setAEParameterValue(param, "all well", 8);
}

METHOD returnZero(uint32_t first, uint32_t second, rfAECommonConfigConfigParamArray *output) {
  (void)first;
  (void)second;
  (void)output;
  return 0;
}

METHOD returnAllBits(uint32_t first, uint32_t second, rfAECommonConfigConfigParamArray *output) {
  (void)first;
  (void)second;
  (void)output;
  return 0xFFFFFFFFU;
}

/* Replaces the list, as a method may. */
METHOD replaceList(uint32_t first, uint32_t second, rfAECommonConfigConfigParamArray *output) {
  (void)first;
  (void)second;
  free_rfAECommonConfigConfigParamArray(output);
  output->list = NULL;
  output->count = 0;
  return 1;
}

/* Leaves a string that is gone with the plug-in. */
METHOD returnConstantText(uint32_t first, uint32_t second,
                          rfAECommonConfigConfigParamArray *output) {
  static char text[] = "gone";
  (void)first;
  (void)second;
  if (output->count == 0) return 0;
  free(output->list[0].parameterValue);
  output->list[0].parameterValue = text;
  return 1;
}
