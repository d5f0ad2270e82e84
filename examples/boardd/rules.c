#include "rules.h"

#include <commonutilities/configparams.h>

#include <string.h>

static int get_parameter(uint32_t index, void *user, double *out) {
  struct rules *rules = user;
  if (index < READINGS_SENSORS)
    *out = readings_last(rules->readings, (int)index);
  else if (index == READINGS_SENSORS)
    *out = rules->warn_celsius;
  else
    return 0; /* also "%0", which arrives as 0xFFFFFFFF */
  return 1;
}

static uint32_t get_parameter_count(void *user) {
  (void)user;
  return READINGS_SENSORS + 1;
}

unsigned rules_init(struct rules *rules, const struct settings *settings,
                    struct readings *readings) {
  memset(rules, 0, sizeof *rules);
  rules->readings = readings;
  rules->warn_celsius = settings->warn_temperature;
  rfAECommonConfigConfigObj *group = NULL;
  if (!getAEParameterGroup(&settings->document.ConfigObj, "rules", &group)) return 0;
  for (uint32_t i = 0; i < group->ConfigParam.count && rules->count < RULES_MOST; ++i) {
    const rfAECommonConfigConfigParam *param = &group->ConfigParam.list[i];
    if (param->parameterName == NULL || param->parameterValue == NULL) continue;
    struct rule *rule = &rules->rules[rules->count++];
    rule->name = param->parameterName;
    rule->context = (RpnExtendedContext){.expression = param->parameterValue,
                                         .getParameter = get_parameter,
                                         .getParameterCount = get_parameter_count,
                                         .keepTokens = 1,
                                         .userData = rules};
  }
  return rules->count;
}

void rules_evaluate(struct rules *rules) {
  for (unsigned i = 0; i < rules->count; ++i) {
    struct rule *rule = &rules->rules[i];
    ++rule->evaluated;
    if (!doRPNExtended(&rule->context, &rule->value)) ++rule->failed;
  }
}

void rules_print(FILE *out, const struct rules *rules) {
  for (unsigned i = 0; i < rules->count; ++i)
    fprintf(out, "    %-16s = %8.2f   %s\n", rules->rules[i].name, rules->rules[i].value,
            rules->rules[i].context.expression);
}

void rules_release(struct rules *rules) {
  for (unsigned i = 0; i < rules->count; ++i) FreeTokens(&rules->rules[i].context.tokens);
}
