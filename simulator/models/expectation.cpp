#include "simulator/models/expectation.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <initializer_list>
#include <optional>
#include <stdexcept>

#include "simulator/models/json_values.h"
#include "simulator/models/origin.h"
#include "simulator/models/parts.h"
#include "simulator/models/register_names.h"
#include "simulator/models/text.h"

namespace k905 {

namespace {

using Json = nlohmann::json;

constexpr std::size_t kShownTexts = 6;  // of those that stand there instead
constexpr std::size_t kLongestPath = 200;
constexpr std::size_t kLongestBytes = EepromCells::kPage;

[[noreturn]] void Refuse(const std::string& why) {
    throw std::invalid_argument(why);
}

std::string Quoted(const std::string& text) {
    return '"' + text + '"';
}

// A member that nobody looks at is a slip of the pen, and what was meant would not be checked.
void OnlyThese(const Json& request, std::initializer_list<const char*> known) {
    for (const auto& [name, value] : request.items())
        if (name != "do" && name != "limit_ms" &&
            std::none_of(known.begin(), known.end(), [&name = name](const char* one) { return name == one; }))
            Refuse(Quoted(name) + " means nothing here");
}

std::uint16_t WordFrom(const Json& value, const char* name) {
    const auto number = WholeFrom(value);
    if (!number || *number > 0xFFFF)
        Refuse(Quoted(name) + " is a number from 0 to 0xffff");
    return static_cast<std::uint16_t>(*number);
}

std::vector<std::uint8_t> BytesFrom(const std::string& text) {
    std::string digits;
    for (const char c : text)
        if (std::isxdigit(static_cast<unsigned char>(c)) != 0)
            digits += c;
        else if (c != ' ')
            Refuse("\"bytes\" are hexadecimal digits, two a byte");
    if (digits.empty() || digits.size() % 2 != 0 || digits.size() > 2 * kLongestBytes)
        Refuse("\"bytes\" are 1 to " + std::to_string(kLongestBytes) + ", two hexadecimal digits each");
    std::vector<std::uint8_t> bytes;
    for (std::size_t i = 0; i < digits.size(); i += 2)
        bytes.push_back(static_cast<std::uint8_t>(std::stoul(digits.substr(i, 2), nullptr, 16)));
    return bytes;
}

std::string Hex(const std::vector<std::uint8_t>& bytes) {
    std::string text;
    for (const std::uint8_t byte : bytes)
        text += (text.empty() ? "" : " ") + Text("%02x", unsigned{byte});
    return text;
}

// How many characters in a row the two have in common.
std::size_t Common(const std::string& one, const std::string& other) {
    std::size_t most = 0;
    std::vector<std::size_t> run(other.size() + 1);
    for (const char a : one)
        for (std::size_t i = other.size(); i > 0; --i) {
            run[i] = a == other[i - 1] ? run[i - 1] + 1 : 0;
            most = std::max(most, run[i]);
        }
    return most;
}

// Where `path` leads in `value`. Names may have dots of their own ("faults.usb.missing"); of a list of names
// each one is true and others are false ("board.held.TP97").
std::optional<Json> At(const Json& value, const std::string& path) {
    if (path.empty())
        return value;
    if (value.is_array()) {
        if (std::all_of(value.begin(), value.end(), [](const Json& one) { return one.is_string(); }) &&
            (value.empty() || path.find_first_not_of("0123456789") != std::string::npos))
            return Json(std::find(value.begin(), value.end(), Json(path)) != value.end());
        const std::size_t dot = path.find('.');
        const auto number = WholeFrom(path.substr(0, dot));
        if (!number || *number >= value.size())
            return std::nullopt;
        return At(value[*number], dot == std::string::npos ? "" : path.substr(dot + 1));
    }
    if (!value.is_object())
        return std::nullopt;
    for (std::size_t end = path.size(); end != std::string::npos; end = path.rfind('.', end - 1)) {
        const auto member = value.find(path.substr(0, end));
        if (member != value.end())
            if (auto found = At(*member, end == path.size() ? "" : path.substr(end + 1)))
                return found;
        if (end == 0)
            break;
    }
    return std::nullopt;
}

// The names at the last place on the path that is there.
std::string Beside(const Json& state, std::string path) {
    std::optional<Json> there;
    do {
        const std::size_t dot = path.rfind('.');
        path = dot == std::string::npos ? "" : path.substr(0, dot);
        there = At(state, path);
    } while (!there);
    std::string names;
    if (there->is_object())
        for (const auto& [name, value] : there->items())
            names += (names.empty() ? "" : ", ") + name;
    return "nothing; " + (path.empty() ? "the state" : path) + " has " +
           (names.empty() ? "no members" : names);
}

}  // namespace

Expectation::Expectation(const Json& request) {
    static constexpr struct {
        const char* name;
        Kind kind;
    } kKinds[] = {{"text", Kind::kText},
                  {"gone", Kind::kGone},
                  {"register", Kind::kRegister},
                  {"memory", Kind::kMemory},
                  {"state", Kind::kState}};
    int asked = 0;
    for (const auto& one : kKinds)
        if (request.contains(one.name)) {
            kind_ = one.kind;
            ++asked;
        }
    if (asked != 1)
        Refuse("expect what? One of \"text\", \"gone\", \"register\", \"memory\", \"state\", \"power\"");
    switch (kind_) {
        case Kind::kText:
        case Kind::kGone:
            OnlyThese(request, {"text", "gone", "x", "y", "w", "h"});
            what_ = WordOf(request, kind_ == Kind::kText ? "text" : "gone");
            if (what_.empty())
                Refuse("the text is empty");
            TakeArea(request);
            break;
        case Kind::kRegister:
            OnlyThese(request, {"register", "value", "mask"});
            if (const auto found = FindRegister(request["register"]))
                index_ = *found;
            else
                Refuse(kNoRegister);
            value_ = WordFrom(MemberOf(request, "value"), "value");
            if (request.contains("mask"))
                mask_ = WordFrom(request["mask"], "mask");
            break;
        case Kind::kMemory: {
            OnlyThese(request, {"memory", "at", "bytes"});
            what_ = MemoryOf(request).name;
            bytes_ = BytesFrom(WordOf(request, "bytes"));
            const auto at = WholeFrom(MemberOf(request, "at"));
            if (!at || *at > EepromCells::kSize - bytes_.size())
                Refuse("\"at\" is where the bytes begin in the memory of 65536");
            at_ = *at;
            break;
        }
        case Kind::kState:
            OnlyThese(request, {"state", "value", "within"});
            what_ = WordOf(request, "state");
            if (what_.empty() || what_.size() > kLongestPath)
                Refuse("\"state\" is a path of at most " + std::to_string(kLongestPath) + " characters");
            wanted_ = MemberOf(request, "value");
            if (request.contains("within"))
                within_ = NumberOf(request, "within");
            if (within_ < 0 || (request.contains("within") && !wanted_.is_number()))
                Refuse("\"within\" is how far a number may be off");
            break;
    }
}

void Expectation::TakeArea(const Json& request) {
    constexpr double kEverywhere = 1e6;
    const auto take = [&](const char* name, double otherwise) {
        hasArea_ = hasArea_ || request.contains(name);
        return request.contains(name) ? NumberOf(request, name) : otherwise;
    };
    x_ = take("x", 0);
    y_ = take("y", 0);
    width_ = take("w", kEverywhere);
    height_ = take("h", kEverywhere);
}

bool Expectation::InArea(const TextAt& text) const {
    return text.x >= x_ && text.x < x_ + width_ && text.y >= y_ && text.y < y_ + height_;
}

std::uint16_t Expectation::Register(Instrument& instrument) const {
    return instrument.Inside().fpga.Read(index_);
}

std::vector<std::uint8_t> Expectation::Memory(Instrument& instrument) const {
    const std::uint8_t* from = instrument.Inside().Cells(what_).Image() + at_;
    return {from, from + bytes_.size()};
}

bool Expectation::IsMet(Instrument& instrument, const Texts& texts) const {
    const auto stands = [&](const TextAt& text) {
        return InArea(text) && text.text.find(what_) != std::string::npos;
    };
    switch (kind_) {
        case Kind::kText:
            return std::any_of(texts.begin(), texts.end(), stands);
        case Kind::kGone:
            return std::none_of(texts.begin(), texts.end(), stands);
        case Kind::kRegister:
            return ((Register(instrument) ^ value_) & mask_) == 0;
        case Kind::kMemory:
            return Memory(instrument) == bytes_;
        case Kind::kState:
            break;
    }
    const std::optional<Json> found = At(instrument.State(), what_);
    if (found && wanted_.is_number() && found->is_number())
        return std::abs(found->get<double>() - wanted_.get<double>()) <= within_;
    return found && *found == wanted_;
}

std::string Expectation::Expected() const {
    const std::string area =
        hasArea_ ? Text(" in the area from %g,%g", x_, y_) + Text(" of %g x %g", width_, height_) : "";
    switch (kind_) {
        case Kind::kText:
            return Quoted(what_) + " on the screen" + area;
        case Kind::kGone:
            return Quoted(what_) + " no longer on the screen" + area;
        case Kind::kRegister:
            return Text("register 0x%08x is 0x%04x", kRegisterBase + 2u * index_, unsigned{value_}) +
                   (mask_ == 0xFFFF ? "" : Text(" in the bits of 0x%04x", unsigned{mask_}));
        case Kind::kMemory:
            return what_ + " memory from " + Text("0x%04zx", at_) + ": " + Hex(bytes_);
        case Kind::kState:
            break;
    }
    return what_ + " is " + wanted_.dump() + (within_ > 0 ? Text(" within %g", within_) : "");
}

// Where the text stands, or else those in its place, the ones most like it first.
std::string Expectation::FoundText(const Texts& texts) const {
    Texts there;
    std::copy_if(texts.begin(), texts.end(), std::back_inserter(there),
                 [&](const TextAt& text) { return InArea(text); });
    for (const TextAt& text : there)
        if (text.text.find(what_) != std::string::npos)
            return Quoted(text.text) + Text(" at %d,%d", text.x, text.y);
    if (kind_ == Kind::kGone)
        return "it is not there";
    if (there.empty())
        return hasArea_ ? "no text there" : "no text";
    std::vector<std::pair<std::size_t, std::string>> ranked;
    for (const TextAt& text : there)
        ranked.emplace_back(Common(text.text, what_), text.text);
    std::stable_sort(ranked.begin(), ranked.end(),
                     [](const auto& one, const auto& other) { return one.first > other.first; });
    std::string list;
    for (std::size_t i = 0; i < std::min(ranked.size(), kShownTexts); ++i)
        list += (i == 0 ? "" : ", ") + Quoted(ranked[i].second);
    if (ranked.size() > kShownTexts)
        list += " and " + std::to_string(ranked.size() - kShownTexts) + " more";
    return list;
}

std::string Expectation::Found(Instrument& instrument, const Texts& texts) const {
    switch (kind_) {
        case Kind::kText:
        case Kind::kGone:
            return FoundText(texts);
        case Kind::kRegister:
            return Text("0x%04x", unsigned{Register(instrument)});
        case Kind::kMemory:
            return Hex(Memory(instrument));
        case Kind::kState:
            break;
    }
    const Json state = instrument.State();
    const std::optional<Json> found = At(state, what_);
    return found ? found->dump() : Beside(state, what_);
}

Json Look(const Expectation& expectation, Instrument& instrument, const Expectation::Texts& texts) {
    return {{"ok", true},
            {"met", expectation.IsMet(instrument, texts)},
            {"expected", expectation.Expected()},
            {"found", expectation.Found(instrument, texts)}};
}

}  // namespace k905
