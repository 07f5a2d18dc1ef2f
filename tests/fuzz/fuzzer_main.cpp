// A fuzzer of the one target that is linked with it.
#include <stdio.h>
#include <stdlib.h>

#include "tests/fuzz/target.h"

void fuzz::Failed(const char* what) {
    fprintf(stderr, "does not hold: %s\n", what);
    abort();
}

extern "C" {
const char* __asan_default_options();
int LLVMFuzzerInitialize(int* count, char*** arguments);
int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size);
}

// For speed no stacks of where a block came from (ASAN_OPTIONS=malloc_context_size=30 when an input is looked
// at), and freed blocks are kept apart for longer than an input takes, not much longer. Leaks are looked for
// after each input; at the end there would be what the fuzzer itself leaves.
const char* __asan_default_options() {
    return "malloc_context_size=0:quarantine_size_mb=1:leak_check_at_exit=0";
}

// What the program prints goes nowhere.
int LLVMFuzzerInitialize(int*, char***) {
    return freopen("/dev/null", "w", stdout) == nullptr ? 1 : 0;
}

int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    fuzz::Target::First()->run(bytes, size);
    return 0;
}
