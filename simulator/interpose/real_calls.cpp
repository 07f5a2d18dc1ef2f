#include "simulator/interpose/real_calls.h"

#include <dlfcn.h>

namespace k905 {

RealCalls realCalls;
bool realCallsFilled = false;

// Filling it twice at once is harmless: both writers store the same addresses.
void FillRealCalls() {
#define K905_LOOK_UP(name, result, arguments) \
    realCalls.name = reinterpret_cast<decltype(realCalls.name)>(dlsym(RTLD_NEXT, #name));
    K905_REAL_CALLS(K905_LOOK_UP)
#undef K905_LOOK_UP
    __atomic_store_n(&realCallsFilled, true, __ATOMIC_RELEASE);
}

}  // namespace k905
