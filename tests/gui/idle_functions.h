// What a test hands to objects whose threads and windows it does not run.
#pragma once

namespace test {

inline void* NoThread(void*) {
    return nullptr;
}

inline int DoNothing(void*) {
    return 0;
}

}  // namespace test
