// What each open page holds: keys and fingers, which are let go of when it is gone, and the run of a script.
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
    // What the page is about to ask for. False: it would press or run something, and the page is gone.
    bool Note(unsigned page, const nlohmann::json& request);
    // The page's script begins or ends to run. False: another page's does run.
    bool RunScript(unsigned page, bool on);
    // The page is gone: the requests that let go of what nobody but it holds.
    std::vector<nlohmann::json> Close(unsigned page);

    // Whether the request presses something that stays down, and the request that lets go of it.
    static bool Presses(const nlohmann::json& request);
    static nlohmann::json Release(const nlohmann::json& request);

  private:
    std::mutex mutex_;
    unsigned last_ = 0;
    unsigned touching_ = 0;                              // the page whose fingers are on the panel; 0: none
    unsigned script_ = 0;                                // the page whose script runs; 0: none
    std::map<unsigned, std::set<nlohmann::json>> keys_;  // of the pages that are open
};

}  // namespace k905
