// In builds that count what runs: a process that ends by _exit() writes its counts, too. Children
// of tests end so.
extern "C" {

void __gcov_dump(void);
[[noreturn]] void __real__exit(int status);

[[noreturn]] void __wrap__exit(int status) {
  __gcov_dump();
  __real__exit(status);
}

}  // extern "C"
