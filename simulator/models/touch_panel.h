// The touch panel: /dev/event2 delivers the instrument's 16-byte input records (32-bit seconds and
// microseconds), multi-touch protocol without contact identities, one frame a change.
#pragma once

#include <cstdint>
#include <deque>
#include <nlohmann/json_fwd.hpp>
#include <vector>

#include "simulator/models/device.h"

namespace k905 {

struct TouchRecord {
    std::uint32_t seconds;
    std::uint32_t microseconds;
    std::uint16_t type;
    std::uint16_t code;
    std::int32_t value;
};
static_assert(sizeof(TouchRecord) == 16);

struct TouchPoint {
    int x, y;  // pixels
};

class TouchPanel : public DeviceNode {
  public:
    static constexpr std::size_t kMaxFingers = 5;
    static constexpr std::size_t kRingSize =
        256;  // records the driver holds; a frame that does not fit is lost

    TouchPanel(World& world, unsigned width, unsigned height)
        : world_(world), width_(width), height_(height) {}

    std::unique_ptr<DeviceFile> Open(int flags, int& error) override;

    void SetSize(unsigned width, unsigned height) { width_ = width, height_ = height; }
    void SetMissing(bool missing) { missing_ = missing; }
    bool Present() const { return !missing_; }

    // Faults. Every contact is reported so many pixels to the right and down, at most at the edge; fingers
    // within the area are not felt (width 0: none).
    void SetOffset(int x, int y) { offsetX_ = x, offsetY_ = y; }
    struct Area {
        int x, y, width, height;  // pixels
    };
    void SetDead(const Area& area) { dead_ = area; }

    // Fingers now on the panel; further ones than kMaxFingers are not seen, positions are kept on the panel.
    void Fingers(std::vector<TouchPoint> points);

    nlohmann::json State() const;

  private:
    friend class TouchFile;
    bool Feels(const TouchPoint& point) const;
    void Frame(int button, const std::vector<TouchPoint>& points);

    World& world_;
    unsigned width_, height_;
    bool missing_ = false;
    int offsetX_ = 0, offsetY_ = 0;
    Area dead_ = {};
    int openFiles_ = 0;
    std::vector<TouchPoint> now_;
    std::deque<TouchRecord> ring_;
    unsigned lost_ = 0;
};

}  // namespace k905
