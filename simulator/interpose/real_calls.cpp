#include "simulator/interpose/real_calls.h"

#include <dlfcn.h>

namespace k905 {

namespace {

RealCalls table;
bool filled = false;

// Filling it twice at once is harmless: both writers store the same addresses.
void Fill() {
#define K905_LOOK_UP(name, result, arguments) \
    table.name = reinterpret_cast<decltype(table.name)>(dlsym(RTLD_NEXT, #name));
    K905_REAL_CALLS(K905_LOOK_UP)
#undef K905_LOOK_UP
    __atomic_store_n(&filled, true, __ATOMIC_RELEASE);
}

}  // namespace

const RealCalls& Real() {
    if (!__atomic_load_n(&filled, __ATOMIC_ACQUIRE))
        Fill();
    return table;
}

}  // namespace k905
