// Makes functions of the product fail that never do, so that a test sees what their callers do then. The
// linker sends the calls from other units here: a row REFUSABLE in the test program, and --wrap in its
// CMakeLists.txt.
#pragma once

namespace test {

// While it lives, the n-th call of the function (from 1) returns `code` and does nothing; so do the times - 1
// that follow it. One at a time.
class Refusing {
  public:
    Refusing(const char* name, int code, int n = 1, int times = 1);
    ~Refusing();
    Refusing(const Refusing&) = delete;
    Refusing& operator=(const Refusing&) = delete;

    // For REFUSABLE: true, with the code, where this call is to fail.
    static bool Refuses(const char* name, int* code);
};

}  // namespace test

// NAME(ARGUMENTS), which returns an int; MANGLED is its name to the linker.
#define REFUSABLE(NAME, MANGLED, PARAMETERS, ARGUMENTS)                                   \
    extern "C" {                                                                          \
    int __real_##MANGLED PARAMETERS;                                                      \
    int __wrap_##MANGLED PARAMETERS;                                                      \
    int __wrap_##MANGLED PARAMETERS {                                                     \
        int code = 0;                                                                     \
        return test::Refusing::Refuses(#NAME, &code) ? code : __real_##MANGLED ARGUMENTS; \
    }                                                                                     \
    }
