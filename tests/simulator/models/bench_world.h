// What the model tests share: a clock that they turn by hand, the trace as a list of lines, a folder that
// goes away.
#pragma once

#include <stdlib.h>

#include <filesystem>
#include <string>
#include <vector>

#include "simulator/models/device.h"

namespace k905 {

class BenchWorld : public World {
  public:
    Micros now = 0;
    std::vector<std::string> lines;

    Micros Now() const override { return now; }
    void Trace(const char* /*kind*/, const std::string& line) override { lines.push_back(line); }

    // The trace since the last call.
    std::vector<std::string> Take() { return std::exchange(lines, {}); }
};

class TemporaryFolder {
  public:
    TemporaryFolder() {
        char pattern[] = "/tmp/k905-models-XXXXXX";
        path_ = ::mkdtemp(pattern);
    }
    ~TemporaryFolder() { std::filesystem::remove_all(path_); }
    const std::string& Path() const { return path_; }

  private:
    std::string path_;
};

}  // namespace k905
