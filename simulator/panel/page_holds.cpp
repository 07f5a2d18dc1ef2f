#include "simulator/panel/page_holds.h"

#include <algorithm>

namespace k905 {

namespace {

using nlohmann::json;

// False also for a member of another kind.
bool Is(const json& request, const char* member, const char* value) {
    return request.contains(member) && request[member] == value;
}

}  // namespace

bool PageHolds::Presses(const json& request) {
    return (Is(request, "do", "key") && Is(request, "action", "down")) ||
           (Is(request, "do", "touch") && (Is(request, "action", "down") || Is(request, "action", "move")));
}

json PageHolds::Release(const json& request) {
    json release = {{"do", request["do"]}, {"action", "up"}};
    if (request.contains("key"))
        release["key"] = request["key"];
    return release;
}

unsigned PageHolds::Open() {
    const std::lock_guard<std::mutex> guard(mutex_);
    keys_[++last_];
    return last_;
}

bool PageHolds::IsOpen(unsigned page) {
    const std::lock_guard<std::mutex> guard(mutex_);
    return keys_.count(page) > 0;
}

bool PageHolds::Note(unsigned page, const json& request) {
    const std::lock_guard<std::mutex> guard(mutex_);
    const bool presses = Presses(request);
    if ((presses || Is(request, "do", "script")) && keys_.count(page) == 0)
        return false;
    if (Is(request, "do", "touch"))
        touching_ = presses ? page : 0;
    if (!Is(request, "do", "key") || !request.contains("key"))
        return true;
    if (presses)
        keys_[page].insert(request["key"]);
    else
        for (auto& [number, keys] : keys_)
            keys.erase(request["key"]);
    return true;
}

bool PageHolds::RunScript(unsigned page, bool on) {
    const std::lock_guard<std::mutex> guard(mutex_);
    if (script_ != 0 && script_ != page)
        return !on;
    script_ = on ? page : 0;
    return true;
}

std::vector<json> PageHolds::Close(unsigned page) {
    const std::lock_guard<std::mutex> guard(mutex_);
    std::vector<json> releases;
    const std::set<json> held = std::exchange(keys_[page], {});
    keys_.erase(page);
    for (const json& key : held)
        if (std::none_of(keys_.begin(), keys_.end(),
                         [&key](const auto& other) { return other.second.count(key) > 0; }))
            releases.push_back(Release({{"do", "key"}, {"key", key}}));
    if (touching_ == page)
        releases.push_back(Release({{"do", "touch"}}));
    touching_ = touching_ == page ? 0 : touching_;
    script_ = script_ == page ? 0 : script_;
    return releases;
}

}  // namespace k905
