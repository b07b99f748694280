// Coverage builds only: the daemon leaves with _exit, which would leave its coverage data behind.

extern "C" {

void __gcov_dump();
[[noreturn]] void __real__exit(int status);

[[noreturn]] void __wrap__exit(int status) {
  __gcov_dump();
  __real__exit(status);
}
}
