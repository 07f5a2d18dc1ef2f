#include "tests/support/refusing.h"

#include <string.h>

#include <atomic>

namespace test {

namespace {

struct {
    std::atomic<const char*> name;
    int code;
    int first;
    int times;
    std::atomic<int> calls;
} wanted;

}  // namespace

Refusing::Refusing(const char* name, int code, int n, int times) {
    wanted.code = code;
    wanted.first = n;
    wanted.times = times;
    wanted.calls = 0;
    wanted.name = name;
}

Refusing::~Refusing() {
    wanted.name = nullptr;
}

bool Refusing::Refuses(const char* name, int* code) {
    const char* asked = wanted.name;
    if (asked == nullptr || strcmp(asked, name) != 0)
        return false;
    const int call = ++wanted.calls;
    *code = wanted.code;
    return call >= wanted.first && call - wanted.first < wanted.times;
}

}  // namespace test
