// The files of the front panel's page, as the build put them into the program (page/, embed.cmake).
#pragma once

#include <cstddef>

namespace k905 {

struct PageFile {
    const char* path;
    const char* type;
    const unsigned char* data;
    std::size_t size;
};

extern const PageFile kPageFiles[];
extern const std::size_t kPageFileCount;

}  // namespace k905
