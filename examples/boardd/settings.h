/* The daemon's settings, read from its configuration document with the typed getters. */
#ifndef BOARDD_SETTINGS_H
#define BOARDD_SETTINGS_H

#include <commonutilities/commonconfig.h>

#include <stdint.h>
#include <stdio.h>

struct settings {
  rfAECommonConfig document; /* as loaded; the getters read from it */

  const char *board_name;
  uint64_t serial;
  uint8_t revision;
  uint32_t strap_pins;
  float warn_temperature;
  float critical_temperature;
  int32_t sensor_offset;
  uint8_t fan_control;
  uint16_t mtu;
  uint32_t vlan;
  int64_t lease_seconds;
  uint16_t sample_milliseconds;
  char *greeting; /* a template with every "<name>" replaced by that parameter's value */
};

/* 0, or -1 with a message on standard error. Release with settings_release() either way. */
int settings_load(struct settings *settings, const char *path);
void settings_release(struct settings *settings);

/* Writes two settings back into the document's records, as a daemon does when an operator changes
 * them: 0, or -1 when one of them is missing. */
int settings_change(struct settings *settings, float warn_temperature,
                    uint16_t sample_milliseconds);

void settings_print(FILE *out, const struct settings *settings);

#endif
