// Keys and rotary knob: /dev/keyb0 delivers one 32-bit native word an event.
#pragma once

#include <bitset>
#include <cstdint>
#include <deque>
#include <nlohmann/json_fwd.hpp>
#include <string>

#include "simulator/models/device.h"

namespace k905 {

class Keypad : public DeviceNode {
  public:
    static constexpr unsigned kKeys = 18;         // codes 1 to 18
    static constexpr std::size_t kRingSize = 64;  // words the driver holds; newer ones are lost

    // Code of a key by name ("menu", "f1", "avg", ...) or decimal code; 0 when there is no such key.
    static unsigned CodeOf(const std::string& nameOrCode);
    static const char* NameOf(unsigned code);  // null when out of range

    std::unique_ptr<DeviceFile> Open(int flags, int& error) override;

    void SetDriverLoaded(bool loaded) { loaded_ = loaded; }
    void SetMissing(bool missing) { missing_ = missing; }
    bool Present() const { return loaded_ && !missing_; }

    // Faults of the contacts. A dead key's never closes; a stuck one's is closed, and the driver reports it
    // once, when it opens or when the fault comes; of two swapped keys each closes the other one's (0, 0:
    // none).
    using Keys = std::bitset<kKeys + 1>;  // by code
    void SetDead(const Keys& keys);
    void SetStuck(const Keys& keys);
    void SetSwapped(unsigned one, unsigned other);
    // Faults of the encoder: steps one way are not reported; both ways are taken for each other.
    void SetKnobDead(bool clockwise, bool anticlockwise) {
        knobDead_[0] = anticlockwise, knobDead_[1] = clockwise;
    }
    void SetKnobReversed(bool reversed) { knobReversed_ = reversed; }

    // A finger on or off a key. "" or the error text (no such key, already in that state).
    std::string Key(const std::string& nameOrCode, bool down);
    void Knob(bool clockwise);

    nlohmann::json State() const;

  private:
    friend class KeypadFile;
    void FirstOpened();
    Keys Wired(Keys closed) const;
    void Scan();
    void Queue(std::uint32_t word);

    bool loaded_ = false, missing_ = false;
    int openFiles_ = 0;
    Keys down_;      // by the operator's fingers
    Keys reported_;  // as the driver last reported them
    Keys dead_, stuck_;
    unsigned swapped_[2] = {};
    bool knobDead_[2] = {};  // anticlockwise, clockwise
    bool knobReversed_ = false;
    std::deque<std::uint32_t> ring_;
    unsigned lost_ = 0;
};

}  // namespace k905
