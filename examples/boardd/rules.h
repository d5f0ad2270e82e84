/* Rules of the configuration document, evaluated over the live readings. */
#ifndef BOARDD_RULES_H
#define BOARDD_RULES_H

#include <commonutilities/rpn.h>

#include "readings.h"
#include "settings.h"

enum { RULES_MOST = 8 };

struct rule {
  const char *name;
  RpnExtendedContext context; /* keeps the rule's tokens from one evaluation to the next */
  double value;
  unsigned evaluated, failed;
};

struct rules {
  struct rule rules[RULES_MOST];
  unsigned count;
  struct readings *readings; /* "%1" to "%3" are the sensors' latest values */
  double warn_celsius;       /* "%4" */
};

/* Takes every parameter of the group "rules" as a rule; returns their number. */
unsigned rules_init(struct rules *rules, const struct settings *settings,
                    struct readings *readings);
void rules_evaluate(struct rules *rules);
void rules_print(FILE *out, const struct rules *rules);
void rules_release(struct rules *rules);

#endif
