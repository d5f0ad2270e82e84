#include "settings.h"

#include <commonutilities/configparams.h>

#include <inttypes.h>
#include <stdlib.h>
#include <string.h>

/* A parameter of a group, or null with a message. */
static rfAECommonConfigConfigParam *find(struct settings *settings, const char *group_name,
                                         const char *name) {
  rfAECommonConfigConfigObj *group = NULL;
  rfAECommonConfigConfigParam *param = NULL;
  if (getAEParameterGroup(&settings->document.ConfigObj, group_name, &group) &&
      getAEParameterinArray(&group->ConfigParam, name, &param))
    return param;
  fprintf(stderr, "boardd: the configuration has no parameter %s.%s\n", group_name, name);
  return NULL;
}

/* Reads one setting with the getter of its type; counts what is missing or of another type. */
#define READ(getter, group, name, destination)                                              \
  do {                                                                                      \
    rfAECommonConfigConfigParam *param_ = find(settings, (group), (name));                  \
    if (param_ == NULL || !getter(param_, (destination))) {                                 \
      if (param_ != NULL) fprintf(stderr, "boardd: %s.%s has another type\n", group, name); \
      ++wrong;                                                                              \
    }                                                                                       \
  } while (0)

/* Gathers the parameters of all groups into one list, since a template may name any of them. The
 * elements are borrowed: only the list itself is to be freed. */
static int gather(const rfAECommonConfig *document, rfAECommonConfigConfigParamArray *all) {
  all->count = 0;
  all->list = NULL;
  for (uint32_t i = 0; i < document->ConfigObj.count; ++i)
    all->count += document->ConfigObj.list[i].ConfigParam.count;
  all->list = calloc(all->count + 1U, sizeof *all->list);
  if (all->list == NULL) return -1;
  uint32_t next = 0;
  for (uint32_t i = 0; i < document->ConfigObj.count; ++i) {
    const rfAECommonConfigConfigParamArray *group = &document->ConfigObj.list[i].ConfigParam;
    for (uint32_t j = 0; j < group->count; ++j) all->list[next++] = group->list[j];
  }
  return 0;
}

static int fill_greeting(struct settings *settings) {
  const rfAECommonConfigConfigParam *template_param = find(settings, "daemon", "greeting");
  rfAECommonConfigConfigParamArray all;
  if (template_param == NULL || gather(&settings->document, &all) != 0) return -1;
  const int ok = SubAmbrelCommonConfigParamListIntoTokenString(template_param->parameterValue, &all,
                                                               &settings->greeting);
  free(all.list);
  return ok ? 0 : -1;
}

int settings_load(struct settings *settings, const char *path) {
  memset(settings, 0, sizeof *settings);
  if (!aeloadConfiguration(path, &settings->document)) {
    fprintf(stderr, "boardd: %s is missing or is not a JSON document\n", path);
    return -1;
  }
  int wrong = 0;
  const rfAECommonConfigConfigParam *name = find(settings, "board", "boardName");
  if (name == NULL || name->parameterValue == NULL)
    ++wrong;
  else
    settings->board_name = name->parameterValue;

  READ(getAEParameterAsUnsignedInteger64, "board", "serial", &settings->serial);
  READ(getAEParameterAsUnsignedInteger8, "board", "revision", &settings->revision);
  /* A "0b" text is converted with base 2, prefix and all: C libraries that do not know the prefix
   * stop at the "b" and give 0. Write hexadecimal where it matters. */
  READ(getAEParameterAsUnsignedInteger, "board", "strapPins", &settings->strap_pins);
  READ(getAEParameterAsFloat, "thermal", "warnTemperature", &settings->warn_temperature);
  READ(getAEParameterAsFloat, "thermal", "criticalTemperature", &settings->critical_temperature);
  READ(getAEParameterAsInteger, "thermal", "sensorOffset", &settings->sensor_offset);
  READ(getAEParameterAsBoolean, "thermal", "fanControl", &settings->fan_control);
  READ(getAEParameterAsUnsignedInteger16, "network", "mtu", &settings->mtu);
  READ(getAEParameterAsUnsignedInteger, "network", "vlan", &settings->vlan);
  READ(getAEParameterAsInteger64, "network", "leaseSeconds", &settings->lease_seconds);
  READ(getAEParameterAsUnsignedInteger16, "daemon", "sampleMilliseconds",
       &settings->sample_milliseconds);
  if (fill_greeting(settings) != 0) ++wrong;
  return wrong == 0 ? 0 : -1;
}

void settings_release(struct settings *settings) {
  free(settings->greeting);
  aeFreeConfiguration(&settings->document);
  memset(settings, 0, sizeof *settings);
}

int settings_change(struct settings *settings, float warn_temperature,
                    uint16_t sample_milliseconds) {
  rfAECommonConfigConfigParam *warn = find(settings, "thermal", "warnTemperature");
  rfAECommonConfigConfigParam *sample = find(settings, "daemon", "sampleMilliseconds");
  if (warn == NULL || sample == NULL) return -1;

  /* The setters store a new text and leave the old one to whoever holds it: here that is us. */
  char *old_warn = warn->parameterValue;
  char *old_sample = sample->parameterValue;
  if (setAEFloatParameterValue(warn, warn_temperature)) free(old_warn);
  if (setAEIntegerParameterValue(sample, sample_milliseconds)) free(old_sample);

  return getAEParameterAsFloat(warn, &settings->warn_temperature) &&
                 getAEParameterAsUnsignedInteger16(sample, &settings->sample_milliseconds)
             ? 0
             : -1;
}

void settings_print(FILE *out, const struct settings *settings) {
  fprintf(out, "    board        %s, serial %" PRIX64 ", revision 0x%02X, straps %" PRIu32 "\n",
          settings->board_name, settings->serial, settings->revision, settings->strap_pins);
  fprintf(out,
          "    thermal      warns at %.1f C, critical at %.1f C, offset %" PRId32 ", fans %s\n",
          (double)settings->warn_temperature, (double)settings->critical_temperature,
          settings->sensor_offset, settings->fan_control ? "on" : "off");
  fprintf(out, "    network      MTU %u, VLAN %" PRIu32 ", lease %" PRId64 " s\n", settings->mtu,
          settings->vlan, settings->lease_seconds);
  fprintf(out, "    sampling     every %u ms\n", settings->sample_milliseconds);
  fprintf(out, "    greeting     %s\n", settings->greeting);
}
