// Where a path of the product leads: to the host as it is, into the instrument's own file tree, or to a
// device node.
#pragma once

#include <string>

namespace k905 {

class PathMap {
  public:
    explicit PathMap(const std::string& stateDir) : root_(stateDir + "/root") {}

    enum class Kind { kHost, kMapped, kDevice };
    struct Target {
        Kind kind = Kind::kHost;
        std::string path;  // to hand to the host (kHost, kMapped), or the node's name (kDevice)
    };

    // A null path goes to the host, which refuses it. Every node under /dev is the instrument's, but for
    // those that are no hardware (null, zero, random, ...): the host's own devices are never reached.
    Target Route(const char* path) const;

  private:
    std::string root_;
};

}  // namespace k905
