// Which keys and fingers each open page holds down, so that they can be let go of when it is gone.
#pragma once

#include <map>
#include <mutex>
#include <nlohmann/json.hpp>
#include <set>
#include <vector>

namespace k905 {

// Called from several threads.
class PageHolds {
  public:
    // A page has come: its number, from 1 on.
    unsigned Open();
    bool IsOpen(unsigned page);
    // What the page is about to ask for. False: it would press something, and the page is gone.
    bool Note(unsigned page, const nlohmann::json& request);
    // The page is gone: the requests that let go of what nobody but it holds.
    std::vector<nlohmann::json> Close(unsigned page);

    // Whether the request presses something that stays down, and the request that lets go of it.
    static bool Presses(const nlohmann::json& request);
    static nlohmann::json Release(const nlohmann::json& request);

  private:
    std::mutex mutex_;
    unsigned last_ = 0;
    unsigned touching_ = 0;                              // the page whose fingers are on the panel; 0: none
    std::map<unsigned, std::set<nlohmann::json>> keys_;  // of the pages that are open
};

}  // namespace k905
