#include "tests/sweeps/ending.h"

#include <chrono>

namespace k905::sweeps {

namespace {

constexpr std::int64_t kWithinUs = 1'000'000;
constexpr double kHangSeconds = 20;
constexpr const char* kKeptOnPurpose = "descriptor of fpga_init";

double Seconds() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

}  // namespace

std::vector<std::string> End(Bench& bench, double* seconds) {
    std::vector<std::string> wrong;
    std::int64_t took = -1;
    const double begin = Seconds();
    const Ending& ending = bench.Stop(kHangSeconds, &took);
    *seconds = Seconds() - begin;
    if (ending.running || ending.signal != 0 || ending.status != 0)
        wrong.push_back("end: " + bench.DescribeEnding());
    else if (took < 0)
        wrong.push_back("end: its time cannot be told");
    else if (took > kWithinUs)
        wrong.push_back("end: took " + std::to_string(took / 1000) + " ms");
    return wrong;
}

std::map<std::string, unsigned long> Held(const nlohmann::json& calls) {
    std::map<std::string, unsigned long> held;
    for (const nlohmann::json& thing : calls.at("holds").at("things"))
        held[thing.at("what").get<std::string>() + " of " + thing.at("in").get<std::string>()] +=
            thing.at("count").get<unsigned long>();
    held.erase(kKeptOnPurpose);
    return held;
}

}  // namespace k905::sweeps
