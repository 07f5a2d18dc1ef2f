#include "simulator/panel/screen_view.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "simulator/panel/control_client.h"

namespace k905 {

namespace {

constexpr const char* kLcdMemory = "/memfd:k905-lcd";  // as the kernel names the framebuffer model's memory

std::uint8_t Widen5(unsigned v) {
    return static_cast<std::uint8_t>(v << 3 | v >> 2);
}
std::uint8_t Widen6(unsigned v) {
    return static_cast<std::uint8_t>(v << 2 | v >> 4);
}

}  // namespace

bool Picture::SameRow(const Picture& other, int y) const {
    return std::memcmp(Row(y), other.Row(y), shape.RowBytes()) == 0;
}

std::vector<std::uint8_t> Picture::Rgba(int first, int count) const {
    std::vector<std::uint8_t> out(static_cast<std::size_t>(count) * shape.width * 4);
    const std::uint8_t* in = Row(first);
    for (std::size_t i = 0; i < out.size(); i += 4, in += shape.bits / 8) {
        if (shape.bits == 16) {
            const unsigned v = in[0] | static_cast<unsigned>(in[1]) << 8;
            out[i] = Widen5(v >> 11);
            out[i + 1] = Widen6(v >> 5 & 0x3F);
            out[i + 2] = Widen5(v & 0x1F);
        } else {
            out[i] = in[2];
            out[i + 1] = in[1];
            out[i + 2] = in[0];
        }
        out[i + 3] = 0xFF;
    }
    return out;
}

ScreenView::ScreenView(pid_t pid) {
    const std::filesystem::path descriptors = "/proc/" + std::to_string(pid) + "/fd";
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(descriptors, error)) {
        std::error_code gone;
        const std::string target = std::filesystem::read_symlink(entry.path(), gone).string();
        if (gone || target.rfind(kLcdMemory, 0) != 0)
            continue;
        const int fd = open(entry.path().c_str(), O_RDONLY | O_CLOEXEC);
        struct stat status = {};
        if (fd >= 0 && fstat(fd, &status) == 0 && status.st_size == Framebuffer::kMemory)
            memory_ = mmap(nullptr, Framebuffer::kMemory, PROT_READ, MAP_SHARED, fd, 0);
        if (fd >= 0)
            close(fd);
        break;
    }
    if (memory_ == nullptr || memory_ == MAP_FAILED)
        throw BenchError("the screen of process " + std::to_string(pid) + " cannot be seen");
}

ScreenView::~ScreenView() {
    munmap(memory_, Framebuffer::kMemory);
}

PanelShape ScreenView::Shape() const {
    PanelShape shape;
    std::memcpy(&shape, Pixels() + Framebuffer::kShapeAt, sizeof shape);
    return shape;
}

Picture ScreenView::Grab() const {
    const PanelShape shape = Shape();
    return {shape, {Pixels(), Pixels() + shape.Bytes()}};
}

}  // namespace k905
