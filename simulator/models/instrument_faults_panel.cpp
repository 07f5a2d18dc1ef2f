// Faults of the front panel: keys, knob, touch panel and screen.
#include <iterator>
#include <utility>

#include "simulator/models/fault_rows.h"

namespace k905 {

namespace {

using Parts = Instrument::Parts;
using nlohmann::json;

std::string SmallPanel(Parts& parts, bool on, const json& value) {
    std::string problem = OnlyTrue(on, value);
    if (!problem.empty())
        return problem;
    return on ? parts.screen.Resize(640, 480) : parts.screen.Resize(parts.panelWidth, parts.panelHeight);
}

std::string SwappedColours(Parts& parts, bool on, const json& value) {
    const std::string problem = OnlyTrue(on, value);
    return problem.empty() ? parts.screen.SetSwapped(on) : problem;
}

// A key by name or code, or a list of keys. False: none such.
bool ReadKeys(const json& value, Keypad::Keys& keys) {
    for (const json& key : AsList(value)) {
        const unsigned code = key.is_string() ? Keypad::CodeOf(key.get<std::string>()) : 0;
        if (code == 0)
            return false;
        keys.set(code);
    }
    return keys.any();
}

template <auto Switch>
std::string KeysOf(Parts& parts, bool on, const json& value) {
    Keypad::Keys keys;
    if (on && !ReadKeys(value, keys))
        return "this fault takes a key, or a list of keys";
    (parts.keypad.*Switch)(keys);
    return "";
}

std::string KeysSwapped(Parts& parts, bool on, const json& value) {
    unsigned codes[2] = {};
    for (std::size_t i = 0; on && i < 2; ++i)
        if (value.is_array() && value.size() == 2 && value[i].is_string())
            codes[i] = Keypad::CodeOf(value[i].get<std::string>());
    if (on && (codes[0] == 0 || codes[1] == 0 || codes[0] == codes[1]))
        return "keypad.swapped takes two keys [one, other]";
    parts.keypad.SetSwapped(codes[0], codes[1]);
    return "";
}

std::string KnobWrong(Parts& parts, bool on, const json& value) {
    static constexpr struct {
        const char* name;
        bool clockwiseDead, anticlockwiseDead, reversed;
    } kKinds[] = {{"dead", true, true, false},
                  {"clockwise dead", true, false, false},
                  {"anticlockwise dead", false, true, false},
                  {"reversed", false, false, true}};
    const json wanted = !on || value == json(true) ? json("dead") : value;
    for (const auto& kind : kKinds)
        if (wanted == kind.name) {
            parts.keypad.SetKnobDead(on && kind.clockwiseDead, on && kind.anticlockwiseDead);
            parts.keypad.SetKnobReversed(on && kind.reversed);
            return "";
        }
    return "keypad.knob takes \"dead\", \"clockwise dead\", \"anticlockwise dead\" or \"reversed\"";
}

constexpr int kMostPixels = 4096;  // of a panel's side

std::string TouchOffset(Parts& parts, bool on, const json& value) {
    if (on && !(value.is_array() && value.size() == 2 && WholeInRange(value[0], -kMostPixels, kMostPixels) &&
                WholeInRange(value[1], -kMostPixels, kMostPixels)))
        return "touch.offset takes [right, down] in pixels";
    parts.touch.SetOffset(on ? value[0].get<int>() : 0, on ? value[1].get<int>() : 0);
    return "";
}

std::string TouchDead(Parts& parts, bool on, const json& value) {
    TouchPanel::Area area = {};
    const std::pair<const char*, int*> sides[] = {
        {"x", &area.x}, {"y", &area.y}, {"w", &area.width}, {"h", &area.height}};
    for (const auto& [name, side] : sides) {
        if (on && (!value.is_object() || !value.contains(name) || !WholeInRange(value[name], 0, kMostPixels)))
            return "touch.dead takes an area {\"x\", \"y\", \"w\", \"h\"} in pixels";
        *side = on ? value[name].get<int>() : 0;
    }
    parts.touch.SetDead(area);
    return "";
}

constexpr FaultRow kPanelRows[] = {
    {{"keypad.missing", "no keypad node; matters at start-up", "keys and knob do nothing"},
     Toggle<&Parts::keypad, &Keypad::SetMissing>},
    {{"keypad.dead", "a key or a list of keys: the contact never closes",
      "Key Check: that key does not light up"},
     KeysOf<&Keypad::SetDead>},
    {{"keypad.stuck", "a key or a list of keys: the contact is always closed",
      "Key Check: that key does not light up when it is pressed"},
     KeysOf<&Keypad::SetStuck>},
    {{"keypad.swapped", "[one, other]: two keys whose lines are exchanged",
      "Key Check: each lights up the other one's picture"},
     KeysSwapped},
    {{"keypad.knob", "\"dead\" (also true), \"clockwise dead\", \"anticlockwise dead\", \"reversed\"",
      "Key Check: Clock or Anti does not light up, or the other one does"},
     KnobWrong},
    {{"touch.missing", "no touch panel node; matters at start-up", "no screen"},
     Toggle<&Parts::touch, &TouchPanel::SetMissing>},
    {{"touch.offset", "[right, down]: every contact is reported so many pixels off",
      "what is touched does nothing, or something else does"},
     TouchOffset},
    {{"touch.dead", "area {\"x\", \"y\", \"w\", \"h\"} of the panel that feels no finger",
      "controls in it do nothing"},
     TouchDead},
    {{"screen.bgr565", "16-bit screen with red and blue exchanged; matters at start-up", "no screen"},
     SwappedColours},
    {{"screen.small", "a 640 x 480 panel; matters at start-up", "no screen"}, SmallPanel},
};

}  // namespace

FaultRows PanelFaults() {
    return {std::begin(kPanelRows), std::end(kPanelRows)};
}

}  // namespace k905
