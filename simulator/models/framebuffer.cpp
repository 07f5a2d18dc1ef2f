#include "simulator/models/framebuffer.h"

#include <linux/fb.h>

#include <cerrno>
#include <cstring>
#include <new>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "simulator/models/host_file.h"

namespace k905 {

namespace {

constexpr unsigned long kPhysicalStart = 0x23A00000;  // where the board's kernel reserves the LCD's memory

bool IsSize(unsigned width, unsigned height) {
    return width > 0 && height > 0 && width <= Framebuffer::kLargestSide &&
           height <= Framebuffer::kLargestSide;
}

fb_bitfield Field(unsigned offset, unsigned length) {
    fb_bitfield field = {};
    field.offset = offset;
    field.length = length;
    return field;
}

}  // namespace

class FramebufferFile : public DeviceFile {
  public:
    explicit FramebufferFile(Framebuffer& screen) : screen_(screen) { ++screen_.openFiles_; }
    ~FramebufferFile() override { --screen_.openFiles_; }

    int Ioctl(unsigned long request, void* argument) override {
        if (request != FBIOGET_FSCREENINFO && request != FBIOGET_VSCREENINFO)
            return -ENOTTY;
        if (argument == nullptr)
            return -EFAULT;
        if (request == FBIOGET_FSCREENINFO)
            Fixed(*static_cast<fb_fix_screeninfo*>(argument));
        else
            Variable(*static_cast<fb_var_screeninfo*>(argument));
        return 0;
    }

  private:
    void Fixed(fb_fix_screeninfo& info) const {
        info = {};
        std::memcpy(info.id, "k905_lcdfb", sizeof "k905_lcdfb");
        info.smem_start = kPhysicalStart;
        info.smem_len = static_cast<std::uint32_t>(screen_.Bytes());
        info.type = FB_TYPE_PACKED_PIXELS;
        info.visual = FB_VISUAL_TRUECOLOR;
        info.ypanstep = 1;
        info.line_length = static_cast<std::uint32_t>(screen_.Shape().RowBytes());
    }

    void Variable(fb_var_screeninfo& info) const {
        info = {};
        info.xres = info.xres_virtual = screen_.Width();
        info.yres = info.yres_virtual = screen_.Height();
        info.bits_per_pixel = screen_.Bits();
        const bool deep = screen_.Bits() != 16;
        info.red = deep ? Field(16, 8) : Field(11, 5);
        info.green = deep ? Field(8, 8) : Field(5, 6);
        info.blue = deep ? Field(0, 8) : Field(0, 5);
        if (screen_.swapped_)
            std::swap(info.red, info.blue);
        if (screen_.Bits() == 32)
            info.transp = Field(24, 8);
        info.activate = FB_ACTIVATE_NOW;
        info.width = 152;  // the 7-inch glass, mm
        info.height = 91;
        info.pixclock = 33333;  // ps
    }

    Framebuffer& screen_;
};

Framebuffer::Framebuffer(unsigned width, unsigned height, unsigned bits) {
    if (bits != 16 && bits != 24 && bits != 32)
        throw std::runtime_error("framebuffer depth must be 16, 24 or 32");
    if (!IsSize(width, height))
        throw std::runtime_error("framebuffer size out of range");
    fd_ = host::MakeMemory("k905-lcd");
    if (fd_ < 0)
        throw std::runtime_error("cannot make the framebuffer's memory");
    if (host::SetSize(fd_, kMemory))
        memory_ = host::MapShared(fd_, kMemory);
    if (memory_ == nullptr) {
        host::Close(fd_);
        throw std::runtime_error("cannot map the framebuffer's memory");
    }
    new (memory_ + kShapeAt) PanelShape{width, height, bits};
}

Framebuffer::~Framebuffer() {
    host::Unmap(memory_, kMemory);
    host::Close(fd_);
}

std::unique_ptr<DeviceFile> Framebuffer::Open(int /*flags*/, int& /*error*/) {
    return std::make_unique<FramebufferFile>(*this);
}

std::string Framebuffer::Resize(unsigned width, unsigned height) {
    if (!IsSize(width, height))
        return "panel size out of range";
    if (!InUse())
        new (memory_ + kShapeAt) PanelShape{width, height, Bits()};
    return "";
}

std::string Framebuffer::SetSwapped(bool blueFirst) {
    if (blueFirst && Bits() != 16)
        return "only a 16-bit screen has this layout";
    if (!InUse())
        swapped_ = blueFirst;
    return "";
}

nlohmann::json Framebuffer::State() const {
    return {{"width", Width()},
            {"height", Height()},
            {"bits", Bits()},
            {"layout", Bits() != 16 ? "rgb888"
                       : swapped_   ? "bgr565"
                                    : "rgb565"},
            {"open", openFiles_}};
}

}  // namespace k905
