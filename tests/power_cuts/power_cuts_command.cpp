// All power cuts of all starts, in as many processes as there are processors (the store's variables are the
// program's), and one table of what came of them.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <new>
#include <string>
#include <thread>

#include "tests/power_cuts/sweep.h"

namespace power_cuts {
namespace {

constexpr const char* kUsage =
    "usage: k905_power_cuts [--jobs N] [--start NAME] [--depth N] [--seed N]\n"
    "\n"
    "  --jobs N      so many processes (default: one for each processor)\n"
    "  --start NAME  only this start\n"
    "  --depth N     so many cuts in a row (default: 3)\n"
    "  --seed N      of the bits that a cut damages\n";

struct Shared {
    std::atomic<unsigned> next;
    Result results[64];
};

void PrintRow(const char* start, const char* window, const Counts& counts) {
    printf("%-18s %-12s %10lu %8lu", start, window, static_cast<unsigned long>(counts.cuts),
           static_cast<unsigned long>(counts.states));
    for (const uint64_t outcome : counts.outcomes)
        printf(" %9lu", static_cast<unsigned long>(outcome));
    printf("\n");
}

void Sum(Counts& sum, const Counts& counts) {
    sum.cuts += counts.cuts;
    sum.states += counts.states;
    for (int i = 0; i < kOutcomes; ++i)
        sum.outcomes[i] += counts.outcomes[i];
}

// The rows of every start, and of all that are under the guarantees and of the others.
int PrintTable(const Shared& shared, const std::string& only) {
    printf("%-18s %-12s %10s %8s", "start", "first cut in", "cuts", "states");
    for (int i = 0; i < kOutcomes; ++i)
        printf(" %9s", NameOf(static_cast<Outcome>(i)));
    printf("\n");
    Counts sums[2][kWindows] = {}, all = {};
    uint64_t cutsAt[kDepths] = {};
    for (size_t number = 0; number < Starts().size(); ++number) {
        const Start& start = Starts()[number];
        if (!only.empty() && only != start.name)
            continue;
        for (int window = 0; window < kWindows; ++window) {
            const Counts& counts = shared.results[number].windows[window];
            if (counts.cuts == 0)
                continue;
            PrintRow(start.name, NameOf(static_cast<Window>(window)), counts);
            Sum(sums[start.limits != kGuaranteed][window], counts);
            Sum(all, counts);
        }
        for (int depth = 0; depth < kDepths; ++depth)
            cutsAt[depth] += shared.results[number].cutsAt[depth];
    }
    for (int limited = 0; limited < 2; ++limited)
        for (int window = 0; window < kWindows; ++window)
            if (sums[limited][window].cuts > 0)
                PrintRow(limited == 0 ? "guaranteed" : "not guaranteed", NameOf(static_cast<Window>(window)),
                         sums[limited][window]);
    PrintRow("all", "", all);
    printf("cuts of the work %lu, of the opening after it %lu, of the opening after that %lu\n",
           static_cast<unsigned long>(cutsAt[0]), static_cast<unsigned long>(cutsAt[1]),
           static_cast<unsigned long>(cutsAt[2]));
    return all.outcomes[kFinding] == 0 ? 0 : 1;
}

int Run(unsigned jobs, const std::string& only, const Options& options) {
    void* memory = mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED || Starts().size() > std::size(Shared{}.results))
        return 2;
    Shared& shared = *new (memory) Shared{};
    for (unsigned job = 0; job < jobs; ++job) {
        const pid_t child = fork();
        if (child < 0)
            return 2;
        if (child > 0)
            continue;
        if (freopen("/dev/null", "w", stdout) == nullptr)  // what the store prints
            _exit(2);
        for (unsigned next = shared.next++; next < Starts().size(); next = shared.next++)
            if (only.empty() || only == Starts()[next].name)
                shared.results[next] = Sweep(Starts()[next], options);
        fflush(stderr);
        _exit(0);
    }
    bool whole = true;
    for (int status = 0; wait(&status) > 0;)
        whole = whole && WIFEXITED(status) && WEXITSTATUS(status) == 0;
    const int result = PrintTable(shared, only);
    return whole ? result : 2;
}

}  // namespace
}  // namespace power_cuts

int main(int count, char** arguments) {
    power_cuts::Options options;
    unsigned jobs = std::max(1u, std::thread::hardware_concurrency());
    std::string only;
    for (int i = 1; i < count; i += 2) {
        const std::string name = arguments[i];
        const char* value = i + 1 < count ? arguments[i + 1] : "";
        const int number = atoi(value);
        if (name == "--jobs" && number > 0)
            jobs = static_cast<unsigned>(number);
        else if (name == "--seed")
            options.seed = static_cast<unsigned>(number);
        else if (name == "--depth")
            options.depth = number;
        else if (name == "--start")
            only = value;
        else {
            fputs(power_cuts::kUsage, name == "--help" ? stdout : stderr);
            return name == "--help" ? 0 : 2;
        }
    }
    const auto& starts = power_cuts::Starts();
    if (!only.empty() &&
        std::none_of(starts.begin(), starts.end(), [&](auto& start) { return only == start.name; })) {
        fprintf(stderr, "k905_power_cuts: no start \"%s\"\n", only.c_str());
        return 2;
    }
    return power_cuts::Run(jobs, only, options);
}
