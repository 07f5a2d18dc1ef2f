#include "simulator/models/fpga_loader.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <nlohmann/json.hpp>

#include "simulator/models/text.h"

namespace k905 {

class FpgaLoaderFile : public DeviceFile {
  public:
    explicit FpgaLoaderFile(FpgaLoader& loader) : loader_(loader) {}

    int Ioctl(unsigned long request, void* argument) override {
        if (loader_.failing_)
            return -EIO;
        if (request == FpgaLoader::kBegin)
            return Begin(argument);
        return request == FpgaLoader::kEnd ? End() : -ENOTTY;
    }

    ssize_t Write(const void* buffer, std::size_t size) override {
        if (loader_.failing_ || !loader_.begun_)
            return -EIO;
        if (buffer == nullptr)
            return -EFAULT;
        const auto* bytes = static_cast<const std::uint8_t*>(buffer);
        loader_.anyBit_ |= std::any_of(bytes, bytes + size, [](std::uint8_t byte) { return byte != 0; });
        loader_.received_ += size;
        loader_.world_.Trace("fpga", Text("fpga data %zu", size));
        return static_cast<ssize_t>(size);
    }

  private:
    int Begin(void* argument) {
        if (argument == nullptr)
            return -EFAULT;
        std::memcpy(&loader_.announced_, argument, sizeof loader_.announced_);
        loader_.begun_ = true;
        loader_.anyBit_ = false;
        loader_.received_ = 0;
        loader_.fpga_.BeginConfiguration();
        loader_.world_.Trace("fpga", Text("fpga begin %u", loader_.announced_));
        return 0;
    }

    int End() {
        if (!loader_.begun_)
            return -EIO;
        loader_.begun_ = false;
        const bool good = !loader_.imageWrong_ && loader_.anyBit_ && loader_.received_ == loader_.announced_;
        if (good) {
            loader_.fpga_.Configure();
            ++loader_.loads_;
        }
        loader_.world_.Trace("fpga", good ? "fpga end" : "fpga end (not configured)");
        return 0;  // the driver does not see the FPGA's done pin
    }

    FpgaLoader& loader_;
};

std::unique_ptr<DeviceFile> FpgaLoader::Open(int /*flags*/, int& error) {
    if (!loaded_) {
        error = ENOENT;
        return nullptr;
    }
    return std::make_unique<FpgaLoaderFile>(*this);
}

nlohmann::json FpgaLoader::State() const {
    return {{"present", loaded_}, {"announced", announced_}, {"received", received_}, {"loads", loads_}};
}

}  // namespace k905
