// Linked into every program of a coverage build: abort(3) writes the counts first.

// The names are the linker's and the compiler's.
extern "C" {

void __gcov_dump();
[[noreturn]] void __real_abort();

[[noreturn]] void __wrap_abort();
[[noreturn]] void __wrap_abort() {
  __gcov_dump();
  __real_abort();
}

}  // extern "C"
