/* libboardaction.so: the plug-in of action.json. Its method fills the output parameters. Only heap
 * strings may go into them: the plug-in is unloaded before the caller looks. */
#include <commonutilities/configparams.h>

#include <stdlib.h>
#include <string.h>

uint32_t measureBoard(uint32_t first, uint32_t second, rfAECommonConfigConfigParamArray *output);

static rfAECommonConfigConfigParam *find(rfAECommonConfigConfigParamArray *output,
                                         const char *name) {
  rfAECommonConfigConfigParam *param = NULL;
  return getAEModifyParameterinArray(output, name, &param) ? param : NULL;
}

/* Sets a parameter's text and frees the one that it had. */
static void set(rfAECommonConfigConfigParam *param, const char *value) {
  if (param == NULL) return;
  char *old = param->parameterValue;
  if (setAEParameterValue(param, value, (uint32_t)strlen(value))) free(old);
}

__attribute__((visibility("default"))) uint32_t measureBoard(
    uint32_t first, uint32_t second, rfAECommonConfigConfigParamArray *output) {
  (void)first;
  (void)second;
  set(find(output, "meanTemperature"), "41.5");
  set(find(output, "fanSpeed"), "5200");
  set(find(output, "healthy"), "true");
  set(find(output, "report"), "all rails within limits");
  return 1;
}
