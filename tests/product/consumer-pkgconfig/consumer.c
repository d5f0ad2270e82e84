#include <commonutilities/commonutilities.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

int main(void) {
  char *text = NULL;
  const int ok = getIntegerAsString(-42, &text) != NULL && strcmp(text, "-42") == 0;
  printf("C consumer through pkg-config: %s\n", ok ? "ok" : "wrong");
  free(text);
  return ok ? EXIT_SUCCESS : EXIT_FAILURE;
}
