#include "simulator/models/framebuffer.h"

#include <linux/fb.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "simulator/models/host_file.h"

namespace k905 {

namespace {

constexpr std::size_t kPage = 4096;
constexpr unsigned long kPhysicalStart = 0x23A00000;  // where the board's kernel reserves the LCD's memory
constexpr unsigned kLargestSide = 4096;

std::size_t PageUp(std::size_t size) {
    return (size + kPage - 1) / kPage * kPage;
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
        info.line_length = screen_.width_ * screen_.bits_ / 8;
    }

    void Variable(fb_var_screeninfo& info) const {
        info = {};
        info.xres = info.xres_virtual = screen_.width_;
        info.yres = info.yres_virtual = screen_.height_;
        info.bits_per_pixel = screen_.bits_;
        const bool deep = screen_.bits_ != 16;
        info.red = deep ? Field(16, 8) : Field(11, 5);
        info.green = deep ? Field(8, 8) : Field(5, 6);
        info.blue = deep ? Field(0, 8) : Field(0, 5);
        if (screen_.swapped_)
            std::swap(info.red, info.blue);
        if (screen_.bits_ == 32)
            info.transp = Field(24, 8);
        info.activate = FB_ACTIVATE_NOW;
        info.width = 152;  // the 7-inch glass, mm
        info.height = 91;
        info.pixclock = 33333;  // ps
    }

    Framebuffer& screen_;
};

Framebuffer::Framebuffer(unsigned width, unsigned height, unsigned bits)
    : width_(width), height_(height), bits_(bits) {
    if (bits != 16 && bits != 24 && bits != 32)
        throw std::runtime_error("framebuffer depth must be 16, 24 or 32");
    if (width == 0 || height == 0 || width > kLargestSide || height > kLargestSide)
        throw std::runtime_error("framebuffer size out of range");
    fd_ = host::MakeMemory("k905-lcd");
    if (fd_ < 0)
        throw std::runtime_error("cannot make the framebuffer's memory");
    Map();
    if (pixels_ == nullptr) {
        host::Close(fd_);
        throw std::runtime_error("cannot map the framebuffer's memory");
    }
}

Framebuffer::~Framebuffer() {
    Unmap();
    host::Close(fd_);
}

std::unique_ptr<DeviceFile> Framebuffer::Open(int /*flags*/, int& /*error*/) {
    return std::make_unique<FramebufferFile>(*this);
}

std::size_t Framebuffer::Bytes() const {
    return std::size_t{width_} * height_ * bits_ / 8;
}

void Framebuffer::Map() {
    const std::size_t size = PageUp(Bytes());
    // It never shrinks: who looks at the pixels from outside may have all of them mapped.
    if (size > capacity_ && !host::SetSize(fd_, size))
        return;
    capacity_ = std::max(capacity_, size);
    pixels_ = host::MapShared(fd_, size);
    mapped_ = pixels_ == nullptr ? 0 : size;
}

void Framebuffer::Unmap() {
    host::Unmap(pixels_, mapped_);
    pixels_ = nullptr;
    mapped_ = 0;
}

std::string Framebuffer::Resize(unsigned width, unsigned height) {
    if (width == 0 || height == 0 || width > kLargestSide || height > kLargestSide)
        return "panel size out of range";
    if (InUse())
        return "";
    Unmap();
    width_ = width;
    height_ = height;
    Map();
    return pixels_ != nullptr ? "" : "no memory for the panel";
}

std::string Framebuffer::SetSwapped(bool blueFirst) {
    if (blueFirst && bits_ != 16)
        return "only a 16-bit screen has this layout";
    if (!InUse())
        swapped_ = blueFirst;
    return "";
}

nlohmann::json Framebuffer::State() const {
    return {{"width", width_},
            {"height", height_},
            {"bits", bits_},
            {"layout", bits_ != 16 ? "rgb888"
                       : swapped_  ? "bgr565"
                                   : "rgb565"},
            {"open", openFiles_}};
}

}  // namespace k905
