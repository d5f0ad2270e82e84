#include "include/stringtemplate.h"

#include <stdio.h>
#include <string.h>
#include <time.h>

int getExtendedISOTime(char *dst, uint32_t size, const time_t *t) {
  if (dst == nullptr || t == nullptr) return 0;
  tzset();  // localtime_r() alone would not notice a changed time zone
  tm local;
  if (localtime_r(t, &local) == nullptr) return 0;

  char time[64];
  char zone[sizeof "+hhmm"];
  const size_t time_length = strftime(time, sizeof time, "%Y-%m-%dT%H:%M:%S", &local);
  const size_t zone_length = strftime(zone, sizeof zone, "%z", &local);
  if (time_length + zone_length + 1 >= size) return 0;
  if (zone_length == sizeof zone - 1) {
    snprintf(dst, size, "%s%c%c%c:%c%c", time, zone[0], zone[1], zone[2], zone[3], zone[4]);
  } else {
    snprintf(dst, size, "%s+00:00", time);
  }
  return 1;
}
