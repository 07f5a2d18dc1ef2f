// /dev/fpga0: takes a configuration image for the FPGA. An image counts when exactly the announced number of
// bytes arrived and they are not all zero; otherwise the FPGA stays unconfigured.
#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>

#include "simulator/models/device.h"
#include "simulator/models/fpga.h"

namespace k905 {

class FpgaLoader : public DeviceNode {
  public:
    static constexpr unsigned long kBegin = 0x40046600;  // argument: pointer to the size, 32 bits
    static constexpr unsigned long kEnd = 0x6601;

    FpgaLoader(World& world, Fpga& fpga) : world_(world), fpga_(fpga) {}

    std::unique_ptr<DeviceFile> Open(int flags, int& error) override;
    void SetDriverLoaded(bool loaded) { loaded_ = loaded; }
    bool Present() const { return loaded_; }
    // Faults: the driver refuses every request; the image is made for another FPGA, which takes it in without
    // being configured.
    void SetFailing(bool failing) { failing_ = failing; }
    void SetImageWrong(bool wrong) { imageWrong_ = wrong; }

    nlohmann::json State() const;

  private:
    friend class FpgaLoaderFile;
    World& world_;
    Fpga& fpga_;
    bool loaded_ = false, failing_ = false, imageWrong_ = false;
    bool begun_ = false, anyBit_ = false;
    std::uint32_t announced_ = 0;
    std::uint64_t received_ = 0;
    unsigned loads_ = 0;
};

}  // namespace k905
