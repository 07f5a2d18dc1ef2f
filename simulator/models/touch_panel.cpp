#include "simulator/models/touch_panel.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <nlohmann/json.hpp>

namespace k905 {

namespace {

constexpr std::uint16_t kSync = 0, kKey = 1, kAbsolute = 3;              // types
constexpr std::uint16_t kReport = 0, kPointEnd = 2, kTouchButton = 330;  // codes
constexpr std::uint16_t kPositionX = 53, kPositionY = 54;
constexpr int kUnchanged = -1;  // no button record in a frame

}  // namespace

class TouchFile : public DeviceFile {
  public:
    explicit TouchFile(TouchPanel& touch) : touch_(touch) {
        if (touch_.openFiles_++ == 0)
            touch_.ring_.clear();
    }
    ~TouchFile() override { --touch_.openFiles_; }

    // As many whole records as are there and fit.
    ssize_t Read(void* buffer, std::size_t size) override {
        if (buffer == nullptr || size < sizeof(TouchRecord))
            return -EINVAL;
        if (touch_.ring_.empty())
            return -EAGAIN;
        std::size_t done = 0;
        for (; !touch_.ring_.empty() && done + sizeof(TouchRecord) <= size; done += sizeof(TouchRecord)) {
            std::memcpy(static_cast<char*>(buffer) + done, &touch_.ring_.front(), sizeof(TouchRecord));
            touch_.ring_.pop_front();
        }
        return static_cast<ssize_t>(done);
    }

    Micros ReadableAt() override { return touch_.ring_.empty() ? kNever : 0; }
    void FlushInput() override { touch_.ring_.clear(); }

  private:
    TouchPanel& touch_;
};

std::unique_ptr<DeviceFile> TouchPanel::Open(int /*flags*/, int& error) {
    if (missing_) {
        error = ENOENT;
        return nullptr;
    }
    return std::make_unique<TouchFile>(*this);
}

bool TouchPanel::Feels(const TouchPoint& point) const {
    return point.x < dead_.x || point.x >= dead_.x + dead_.width || point.y < dead_.y ||
           point.y >= dead_.y + dead_.height;
}

void TouchPanel::Fingers(std::vector<TouchPoint> points) {
    points.resize(std::min(points.size(), kMaxFingers));
    const auto keepOnPanel = [this](TouchPoint& point) {
        point.x = std::clamp(point.x, 0, static_cast<int>(width_) - 1);
        point.y = std::clamp(point.y, 0, static_cast<int>(height_) - 1);
    };
    std::for_each(points.begin(), points.end(), keepOnPanel);
    points.erase(std::remove_if(points.begin(), points.end(),
                                [this](const TouchPoint& point) { return !Feels(point); }),
                 points.end());
    for (TouchPoint& point : points) {
        point.x += offsetX_;
        point.y += offsetY_;
        keepOnPanel(point);
    }
    const bool was = !now_.empty(), is = !points.empty();
    now_ = points;
    if (!was && !is)
        return;
    if (!is) {
        Frame(0, {});
        return;
    }
    // The controller scans faster than two fingers land: the first one is always reported alone.
    if (!was)
        Frame(1, {points.front()});
    if (was || points.size() > 1)
        Frame(kUnchanged, points);
}

// One frame: the button record when it changed, the points, each closed by its own mark, and the end of the
// frame. The frame of the release carries one empty point, as the controller's driver sends it.
void TouchPanel::Frame(int button, const std::vector<TouchPoint>& points) {
    if (openFiles_ == 0)
        return;
    std::vector<TouchRecord> frame;
    const Micros now = world_.Now();
    const auto add = [&](std::uint16_t type, std::uint16_t code, int value) {
        frame.push_back({static_cast<std::uint32_t>(now / 1000000), static_cast<std::uint32_t>(now % 1000000),
                         type, code, value});
    };
    if (button != kUnchanged)
        add(kKey, kTouchButton, button);
    for (const TouchPoint& point : points) {
        add(kAbsolute, kPositionX, point.x);
        add(kAbsolute, kPositionY, point.y);
        add(kSync, kPointEnd, 0);
    }
    if (points.empty())
        add(kSync, kPointEnd, 0);
    add(kSync, kReport, 0);
    if (ring_.size() + frame.size() > kRingSize) {
        ++lost_;
        return;
    }
    ring_.insert(ring_.end(), frame.begin(), frame.end());
}

nlohmann::json TouchPanel::State() const {
    nlohmann::json fingers = nlohmann::json::array();
    for (const TouchPoint& point : now_)
        fingers.push_back({point.x, point.y});
    return {{"present", Present()},
            {"open", openFiles_},
            {"fingers", fingers},
            {"queued", ring_.size()},
            {"lost", lost_}};
}

}  // namespace k905
