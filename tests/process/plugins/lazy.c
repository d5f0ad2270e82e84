/* A plug-in that calls a function which nobody has: it loads, as long as nothing is bound early. */
int function_that_nobody_has(void);

__attribute__((visibility("default"))) int callIt(void) {
  return function_that_nobody_has();
}
__attribute__((visibility("default"))) int answer(void) {
  return 42;
}
