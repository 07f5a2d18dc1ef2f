#include "simulator/models/keypad.h"

#include <cerrno>
#include <cstring>
#include <nlohmann/json.hpp>

#include "simulator/models/text.h"

namespace k905 {

namespace {

// Key names by code - 1, as on the front panel.
constexpr const char* kNames[Keypad::kKeys] = {
    "menu",  "f1", "f2",   "f3",    "f4",    "f5",   "esc",   "file", "scale",
    "setup", "up", "left", "enter", "right", "down", "realt", "knob", "avg",
};

constexpr std::uint32_t kIsKey = 0x00010000;          // bits 16 to 19: a key, else a knob step
constexpr std::uint32_t kReleased = 0x00000100;       // bits 8 to 11
constexpr std::uint32_t kAnticlockwise = 0x01000000;  // bits 24 to 27
constexpr std::uint32_t kKnobCode = 17;               // the encoder's own code, low byte of its steps

}  // namespace

class KeypadFile : public DeviceFile {
  public:
    explicit KeypadFile(Keypad& keypad) : keypad_(keypad) {
        if (keypad_.openFiles_++ == 0)
            keypad_.FirstOpened();
    }
    ~KeypadFile() override { --keypad_.openFiles_; }

    // One word a call.
    ssize_t Read(void* buffer, std::size_t size) override {
        if (buffer == nullptr || size < sizeof(std::uint32_t))
            return -EINVAL;
        if (keypad_.ring_.empty())
            return -EAGAIN;
        const std::uint32_t word = keypad_.ring_.front();
        keypad_.ring_.pop_front();
        std::memcpy(buffer, &word, sizeof word);
        return sizeof word;
    }

    Micros ReadableAt() override { return keypad_.ring_.empty() ? kNever : 0; }
    void FlushInput() override { keypad_.ring_.clear(); }

  private:
    Keypad& keypad_;
};

unsigned Keypad::CodeOf(const std::string& nameOrCode) {
    for (unsigned code = 1; code <= kKeys; ++code)
        if (nameOrCode == kNames[code - 1] || nameOrCode == std::to_string(code))
            return code;
    return 0;
}

const char* Keypad::NameOf(unsigned code) {
    return code >= 1 && code <= kKeys ? kNames[code - 1] : nullptr;
}

std::unique_ptr<DeviceFile> Keypad::Open(int /*flags*/, int& error) {
    if (!Present()) {
        error = ENOENT;
        return nullptr;
    }
    return std::make_unique<KeypadFile>(*this);
}

std::string Keypad::Key(const std::string& nameOrCode, bool down) {
    const unsigned code = CodeOf(nameOrCode);
    if (code == 0)
        return "no such key: " + nameOrCode;
    if (down_[code] == down)
        return Text("key %s is already %s", kNames[code - 1], down ? "down" : "up");
    down_[code] = down;
    Scan();
    return "";
}

void Keypad::SetDead(const Keys& keys) {
    dead_ = keys;
    Scan();
}

void Keypad::SetStuck(const Keys& keys) {
    stuck_ = keys;
    Scan();
}

void Keypad::SetSwapped(unsigned one, unsigned other) {
    swapped_[0] = one;
    swapped_[1] = other;
    Scan();
}

void Keypad::FirstOpened() {
    ring_.clear();
    reported_ &= ~Wired(stuck_);
    Scan();
}

// The codes that arrive for closed contacts.
Keypad::Keys Keypad::Wired(Keys closed) const {
    const bool one = closed[swapped_[0]], other = closed[swapped_[1]];
    closed[swapped_[0]] = other;
    closed[swapped_[1]] = one;
    return closed;
}

// The driver looks at the contacts and reports those that have changed.
void Keypad::Scan() {
    const Keys closed = Wired((down_ & ~dead_) | stuck_);
    for (unsigned code = 1; code <= kKeys; ++code)
        if (closed[code] != reported_[code])
            Queue(kIsKey | (closed[code] ? 0 : kReleased) | code);
    reported_ = closed;
}

void Keypad::Knob(bool clockwise) {
    if (!knobDead_[clockwise ? 1 : 0])
        Queue((clockwise != knobReversed_ ? 0 : kAnticlockwise) | kKnobCode);
}

void Keypad::Queue(std::uint32_t word) {
    if (openFiles_ == 0)
        return;
    if (ring_.size() < kRingSize)
        ring_.push_back(word);
    else
        ++lost_;
}

nlohmann::json Keypad::State() const {
    nlohmann::json down = nlohmann::json::array();
    for (unsigned code = 1; code <= kKeys; ++code)
        if (down_[code])
            down.push_back(kNames[code - 1]);
    return {{"present", Present()},
            {"open", openFiles_},
            {"down", down},
            {"queued", ring_.size()},
            {"lost", lost_}};
}

}  // namespace k905
