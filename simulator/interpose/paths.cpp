#include "simulator/interpose/paths.h"

namespace k905 {

namespace {

// Trees that live under <state>/root.
const char* const kMappedTrees[] = {
    "/app/fct", "/mnt/sdcard", "/mnt/usb", "/proc/scsi", "/sys/class/gpio", "/lib/modules",
};

// Under /dev, but no hardware.
const char* const kHostNodes[] = {
    "/dev/null",   "/dev/zero",   "/dev/full", "/dev/random", "/dev/urandom", "/dev/stdin",
    "/dev/stdout", "/dev/stderr", "/dev/fd",   "/dev/tty",    "/dev/pts",     "/dev/shm",
};

bool IsUnder(const std::string& path, const std::string& tree) {
    return path.compare(0, tree.size(), tree) == 0 &&
           (path.size() == tree.size() || path[tree.size()] == '/');
}

// Without doubled slashes, "." and "..": what the path names.
std::string Normalised(const std::string& path) {
    std::string result;
    std::size_t at = 0;
    while (at < path.size()) {
        std::size_t end = path.find('/', at);
        if (end == std::string::npos)
            end = path.size();
        const std::string part = path.substr(at, end - at);
        if (part == "..")
            result.erase(result.find_last_of('/') == std::string::npos ? 0 : result.find_last_of('/'));
        else if (!part.empty() && part != ".")
            result += "/" + part;
        at = end + 1;
    }
    return result.empty() ? "/" : result;
}

}  // namespace

PathMap::Target PathMap::Route(const char* path) const {
    if (path == nullptr || path[0] != '/')
        return {Kind::kHost, path == nullptr ? "" : path};
    const std::string name = Normalised(path);
    for (const char* tree : kMappedTrees)
        if (IsUnder(name, tree))
            return {Kind::kMapped, root_ + name};
    if (IsUnder(name, "/dev") && name != "/dev") {
        for (const char* node : kHostNodes)
            if (IsUnder(name, node))
                return {Kind::kHost, path};
        return {Kind::kDevice, name};
    }
    return {Kind::kHost, path};
}

}  // namespace k905
