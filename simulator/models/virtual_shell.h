// The instrument's shell, as far as the product uses it: "insmod PATH", "echo VALUE > PATH", "cat PATH",
// "sync". Every other command is not found (127). It acts on the instrument's own files, pins and modules;
// nothing reaches the machine that the simulator runs on.
#pragma once

#include <functional>
#include <nlohmann/json_fwd.hpp>
#include <set>
#include <string>

#include "simulator/models/device.h"
#include "simulator/models/storage.h"
#include "simulator/models/straps.h"

namespace k905 {

class VirtualShell {
  public:
    // `onInsert` is told the name of each module that is inserted ("drv_fpga"); false: not a module.
    VirtualShell(World& world, Storage& storage, Straps& straps,
                 std::function<bool(const std::string&)> onInsert);

    // Exit status; `output` is what the command prints on standard output.
    int Run(const std::string& command, std::string& output);

    nlohmann::json State() const;

  private:
    int Insert(const std::string& path);
    int Echo(const std::string& text, const std::string& path);
    int Cat(const std::string& path, std::string& output);

    World& world_;
    Storage& storage_;
    Straps& straps_;
    std::function<bool(const std::string&)> onInsert_;
    std::set<std::string> inserted_;
};

}  // namespace k905
