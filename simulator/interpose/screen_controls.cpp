#include "simulator/interpose/screen_controls.h"

#include <errno.h>
#include <limits.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <optional>
#include <stdexcept>

#include "screens/wnd_screen.h"
#include "simulator/interpose/symbols.h"

namespace k905 {

namespace {

// A copy of what lies at an address of the product, which may free it meanwhile; nothing where it has gone.
template <typename Value>
std::optional<Value> Peek(const Value* address) {
    if (address == nullptr)
        return std::nullopt;
    Value value;
    constexpr size_t kSize = sizeof(Value);  // NOLINT(bugprone-sizeof-expression): of pointers, too
    const iovec to = {&value, kSize};
    const iovec from = {const_cast<Value*>(address), kSize};
    if (process_vm_readv(getpid(), &to, 1, &from, 1, 0) == static_cast<ssize_t>(kSize))
        return value;
    if (errno != ENOSYS)
        return std::nullopt;
    value = *address;  // an emulated processor has no such call
    return value;
}

// Pictures and labels begin with their visible part.
template <typename Component>
std::optional<GUIVISIBLE> PeekVisible(Component* const* variable) {
    const auto component = Peek(variable);
    return component ? Peek(reinterpret_cast<const GUIVISIBLE*>(*component)) : std::nullopt;
}

Area Rectangle(const GUIRECTANGLE& area) {
    const auto x = static_cast<int>(area.Start.x), y = static_cast<int>(area.Start.y);
    return {x, y, static_cast<int>(area.End.x) - x + 1, static_cast<int>(area.End.y) - y + 1};
}

// False also for what lies in memory that the product has given to something else.
bool OnLcd(const GUIRECTANGLE& area) {
    return area.Start.x <= area.End.x && area.Start.y <= area.End.y && area.End.x < SCREEN_WIDTH &&
           area.End.y < SCREEN_HEIGHT;
}

// What a row's label says, or null.
const char* Caption(const SCREEN& screen, const SCREEN_CONTROL& row) {
    if (row.ppLabel == nullptr || row.pText != nullptr)
        return row.pText;
    for (const SCREEN_STRING& string : screen.Strings)
        if (row.ppString >= string.ppString && row.ppString < string.ppString + string.uiCount)
            return string.pText;
    return nullptr;
}

// ".../btn_back.bmp": "Back".
std::string BitmapName(const char* path) {
    std::string name = path == nullptr ? "" : path;
    name.erase(0, name.find_last_of("/_") + 1);
    name.erase(std::min(name.find('.'), name.size()));
    if (!name.empty())
        name[0] = static_cast<char>(toupper(static_cast<unsigned char>(name[0])));
    return name;
}

// How far a point lies from the nearest edge, inside positive.
int Depth(const Area& area, int x, int y) {
    return std::min({x - area.x, y - area.y, area.x + area.width - 1 - x, area.y + area.height - 1 - y});
}

Area Widened(const Area& area, int by) {
    return {area.x - by, area.y - by, area.width + 2 * by, area.height + 2 * by};
}

bool Meet(const Area& a, const Area& b) {
    return a.x < b.x + b.width && b.x < a.x + a.width && a.y < b.y + b.height && b.y < a.y + a.height;
}

void ChoosePoint(ScreenControl& control, const std::vector<ScreenControl>& all) {
    int best = INT_MIN;
    const Area& area = control.picture;
    // No point lies deeper than this, so what is farther away than that does not matter.
    const int reach = std::min(area.width, area.height) / 2 + 1;
    std::vector<Area> others;
    for (const ScreenControl& other : all)
        if (&other != &control && other.touchable && Meet(area, Widened(other.picture, reach)))
            others.push_back(other.picture);
    for (int y = area.y; y < area.y + area.height; ++y)
        for (int x = area.x; x < area.x + area.width; ++x) {
            // Among equals the one nearest to the middle.
            const int fromMiddle =
                std::abs(2 * (x - area.x) - area.width) + std::abs(2 * (y - area.y) - area.height);
            int depth = Depth(area, x, y);
            if (depth * 4096 - fromMiddle <= best)
                continue;
            for (const Area& other : others)
                depth = std::min(depth, -Depth(other, x, y));
            const int rank = depth * 4096 - fromMiddle;
            if (depth >= 0 && rank > best) {
                best = rank;
                control.x = x;
                control.y = y;
            }
        }
}

// Without the points.
std::vector<ScreenControl> ReadControls() {
    // The variable of wnd_screen.cpp.
    static const void* const variable = ObjectAddress("pShownScreen");
    if (variable == nullptr)
        throw std::runtime_error("the program does not tell its controls: no symbol table names them");
    std::vector<ScreenControl> controls;
    const auto shown = Peek(static_cast<const SCREEN* const*>(variable));
    if (!shown || *shown == nullptr)
        return controls;
    const SCREEN& screen = **shown;
    for (const SCREEN_CONTROL& row : screen.Controls) {
        const char* caption = Caption(screen, row);
        ScreenControl control;
        control.touchable = row.fnDown != nullptr || row.fnUp != nullptr;
        const auto visible = PeekVisible(row.ppPicture);
        if (!visible || !OnLcd(visible->Area) || (row.uiFlags & SCREEN_UNPAINTED) != 0 ||
            (caption == nullptr && !control.touchable))
            continue;
        control.name = caption != nullptr ? caption : BitmapName(row.pBitmap);
        control.picture = Rectangle(visible->Area);
        control.enabled = visible->iEnable != 0;
        if (const auto label = PeekVisible(row.ppLabel); label && OnLcd(label->Area))
            control.caption = Rectangle(label->Area);
        controls.push_back(std::move(control));
    }
    return controls;
}

}  // namespace

std::vector<ScreenControl> ScreenControls() {
    std::vector<ScreenControl> controls = ReadControls();
    for (ScreenControl& control : controls)
        if (control.touchable)
            ChoosePoint(control, controls);
    return controls;
}

std::string ControlAt(int x, int y) {
    const std::vector<ScreenControl> controls = ReadControls();
    std::vector<std::string> under;
    for (const ScreenControl& control : controls)
        if (control.touchable && control.picture.Contains(x, y))
            under.push_back(control.name);
    const auto called = [&](const ScreenControl& control) { return control.name == under[0]; };
    return under.size() == 1 && std::count_if(controls.begin(), controls.end(), called) == 1 ? under[0] : "";
}

}  // namespace k905
