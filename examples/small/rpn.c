/* Sensor rules: expressions from a document over readings that the daemon fetches when asked. */
#include <commonutilities/rpn.h>

#include <stdio.h>

struct readings {
  double celsius[2];
  unsigned fetched;
};

static uint32_t count(void *user) {
  (void)user;
  return 2;
}

/* "%0" asks for the index 0xFFFFFFFF: every index from the number of parameters on is refused. */
static int fetch(uint32_t index, void *user, double *out) {
  struct readings *readings = user;
  if (index >= 2) return 0;
  ++readings->fetched;
  *out = readings->celsius[index];
  return 1;
}

int main(void) {
  static const char *const rules[] = {
      "%1 %2 max",         /* the hotter of the two */
      "%1 %2 - 0 8 - min", /* no negative literals: subtract from 0 */
      "%1 80 >=",          /* whole degrees above 80; ">" alone would be a shift */
      "%1 %2 ==",          /* and "!=" would look at one value: ask for equal, and negate with ! */
      "%1 0 /",            /* fails */
      "%0 1 +",            /* fails */
  };
  struct readings readings = {{81.5, 39.25}, 0};
  for (unsigned i = 0; i < sizeof rules / sizeof rules[0]; ++i) {
    RpnExtendedContext context = {0};
    context.expression = rules[i];
    context.getParameter = fetch;
    context.getParameterCount = count;
    context.userData = &readings;
    context.keepTokens = 1; /* a rule is evaluated every second: split it once */
    double result = 0;
    int ok = 1;
    for (int second = 0; second < 3; ++second) ok = doRPNExtended(&context, &result);
    FreeTokens(&context.tokens);
    if (ok)
      printf("%-18s = %.2f\n", rules[i], result);
    else
      printf("%-18s cannot be evaluated\n", rules[i]);
  }
  printf("%u readings fetched\n", readings.fetched);
  return 0;
}
