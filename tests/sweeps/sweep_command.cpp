// The whole sweep of failing calls, in as many processes of fct at a time as there are processors, and one
// table of what came of it.
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <thread>

#include "simulator/panel/control_client.h"
#include "tests/sweeps/failing_calls.h"

namespace k905::sweeps {
namespace {

constexpr const char* kUsage =
    "usage: k905_sweep [--jobs N] [--all N] [--script NAME] [--function NAME] [--brief] [--verbose]\n"
    "\n"
    "  --jobs N          so many instruments at a time (default: one for each processor)\n"
    "  --all N           every call of a place that makes at most N, else N + 4 of them (default: 12)\n"
    "  --script NAME     only this script; --function NAME: only calls of this function\n"
    "  --brief           each place of the program only in the first script that comes by it\n"
    "  --verbose         also what differed from the good run without being told\n";

struct Options {
    unsigned jobs = std::max(1u, std::thread::hardware_concurrency());
    unsigned long all = 12;
    std::string script, function;
    bool brief = false, verbose = false;
};

struct Job {
    const Script* script;
    const GoodRun* good;
    Failure failure;
    Outcome outcome;
};

struct Row {
    unsigned long calls = 0, failed = 0, kinds[6] = {}, findings = 0;
};

// Works the jobs off; a line for each that must not be.
void Work(std::vector<Job>& jobs, const Options& options) {
    std::atomic<std::size_t> next{0};
    std::mutex printing;
    const auto work = [&] {
        for (std::size_t i = next++; i < jobs.size(); i = next++) {
            Job& job = jobs[i];
            try {
                job.outcome = RunFailing(*job.script, *job.good, job.failure);
            } catch (const std::exception& error) {
                job.outcome.findings.push_back(error.what());
            }
            const std::lock_guard<std::mutex> guard(printing);
            for (const std::string& finding : job.outcome.findings)
                printf("%s: %s: %s\n", job.script->name, job.failure.Describe().c_str(), finding.c_str());
            if (options.verbose)
                for (const std::string& lost : job.outcome.lost)
                    printf("%s: %s: not seen: %s\n", job.script->name, job.failure.Describe().c_str(),
                           lost.c_str());
            fflush(stdout);
        }
    };
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < options.jobs; ++i)
        threads.emplace_back(work);
    for (std::thread& thread : threads)
        thread.join();
}

void PrintRow(const std::string& script, const std::string& function, const Row& row) {
    printf("%-18s %-22s %7lu %7lu %6lu %6lu %6lu %6lu %6lu %6lu %8lu\n", script.c_str(), function.c_str(),
           row.calls, row.failed, row.kinds[Outcome::kSame], row.kinds[Outcome::kTold],
           row.kinds[Outcome::kOther], row.kinds[Outcome::kUndone], row.kinds[Outcome::kEnded],
           row.kinds[Outcome::kNotReached], row.findings);
}

int Sweep(const Options& options) {
    std::vector<std::pair<const Script*, GoodRun>> goods;
    for (const Script& script : Scripts())
        if (options.script.empty() || options.script == script.name)
            goods.emplace_back(&script, RunGood(script));
    std::vector<Job> jobs;
    std::map<std::string, const Script*> first;  // script of each place
    for (const auto& [script, good] : goods)
        for (const Failure& failure : PlanFailures(good, options.all)) {
            const Script* owner = first.emplace(failure.function + failure.caller, script).first->second;
            if ((options.function.empty() || options.function == failure.function) &&
                (!options.brief || owner == script))
                jobs.push_back({script, &good, failure, {}});
        }
    fprintf(stderr, "%zu failures\n", jobs.size());
    Work(jobs, options);

    std::map<std::pair<const Script*, std::string>, Row> rows;
    Row sum;
    double longest = 0;
    for (const auto& [script, good] : goods)
        for (const GoodRun::Place& place : good.places) {
            rows[{script, place.function}].calls += place.calls;
            sum.calls += place.calls;
        }
    for (const Job& job : jobs)
        for (Row* row : {&rows[{job.script, job.failure.function}], &sum}) {
            ++row->failed;
            ++row->kinds[job.outcome.kind];
            row->findings += !job.outcome.findings.empty();
            longest = std::max(longest, job.outcome.endSeconds);
        }
    printf("%-18s %-22s %7s %7s %6s %6s %6s %6s %6s %6s %8s\n", "script", "function", "calls", "failed",
           "same", "told", "other", "undone", "ended", "unmet", "findings");
    for (const auto& [script, good] : goods)
        for (const auto& [key, row] : rows)
            if (key.first == script && row.failed > 0)
                PrintRow(script->name, key.second, row);
    PrintRow("all", "", sum);
    printf("the slowest end took %.2f s of real time\n", longest);
    return sum.findings == 0 ? 0 : 1;
}

}  // namespace
}  // namespace k905::sweeps

int main(int count, char** arguments) {
    k905::sweeps::Options options;
    for (int i = 1; i < count; ++i) {
        const std::string name = arguments[i];
        const char* value = i + 1 < count ? arguments[i + 1] : nullptr;
        if (name == "--verbose" || name == "--brief") {
            (name == "--brief" ? options.brief : options.verbose) = true;
            continue;
        }
        if (value == nullptr) {
            fputs(k905::sweeps::kUsage, name == "--help" ? stdout : stderr);
            return name == "--help" ? 0 : 2;
        }
        ++i;
        if (name == "--jobs")
            options.jobs = static_cast<unsigned>(std::max(1, atoi(value)));
        else if (name == "--all")
            options.all = static_cast<unsigned long>(std::max(1, atoi(value)));
        else if (name == "--script")
            options.script = value;
        else if (name == "--function")
            options.function = value;
        else
            return fputs(k905::sweeps::kUsage, stderr), 2;
    }
    try {
        return k905::sweeps::Sweep(options);
    } catch (const std::exception& error) {
        fprintf(stderr, "%s\n", error.what());
        return 2;
    }
}
