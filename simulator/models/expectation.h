// What a script expects: of the texts on the screen, a register, a memory, or what a model tells of itself.
#pragma once

#include <cstdint>
#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "simulator/models/instrument.h"

namespace k905 {

class Expectation {
  public:
    using Json = nlohmann::json;

    // A request {"do": "expect", ...}. Throws std::invalid_argument with what is wrong with it.
    explicit Expectation(const Json& request);

    bool IsOfTexts() const { return kind_ == Kind::kText || kind_ == Kind::kGone; }

    // A line of text on the screen, with its top left corner.
    struct TextAt {
        int x, y;
        std::string text;
    };
    using Texts = std::vector<TextAt>;
    // For this and the next: the lock is held; `texts` are those on the screen, where it is about them.
    bool IsMet(Instrument& instrument, const Texts& texts) const;
    // For people: what is expected, and what is there instead, or of it.
    std::string Expected() const;
    std::string Found(Instrument& instrument, const Texts& texts) const;

  private:
    enum class Kind { kText, kGone, kRegister, kMemory, kState };
    void TakeArea(const Json& request);
    bool InArea(const TextAt& text) const;
    std::string FoundText(const Texts& texts) const;
    std::uint16_t Register(Instrument& instrument) const;
    std::vector<std::uint8_t> Memory(Instrument& instrument) const;

    Kind kind_ = Kind::kText;
    std::string what_;  // the text; "module" or "mainboard"; path into the state

    bool hasArea_ = false;
    double x_ = 0, y_ = 0, width_ = 0, height_ = 0;

    std::uint16_t index_ = 0;  // of the register
    std::uint16_t value_ = 0, mask_ = 0xFFFF;

    std::size_t at_ = 0;  // in the memory
    std::vector<std::uint8_t> bytes_;

    Json wanted_;  // of the state
    double within_ = 0;
};

// The reply to a look at it: met, expected, found.
nlohmann::json Look(const Expectation& expectation, Instrument& instrument, const Expectation::Texts& texts);

}  // namespace k905
