#include "tests/support/redirected_paths.h"

#include <utility>

namespace test {

static thread_local std::map<std::string, std::string> redirected;

RedirectedPaths::RedirectedPaths(std::map<std::string, std::string> paths) {
    redirected = std::move(paths);
}

RedirectedPaths::~RedirectedPaths() {
    redirected.clear();
}

const char* RedirectedPaths::Of(const char* path) {
    if (redirected.empty())
        return path;
    const auto found = redirected.find(path);
    return found == redirected.end() ? path : found->second.c_str();
}

}  // namespace test
