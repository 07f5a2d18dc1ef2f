#include <cstdio>
#include <filesystem>
#include <utility>

#include "simulator/panel/check.h"
#include "simulator/panel/commands.h"
#include "simulator/panel/replay.h"

namespace k905 {

int RunCheckCommand(const CommandOptions& options) {
    LeaveNothingBehindOnSignals();
    CheckOptions check;
    check.bench.seed = options.seed;
    check.bench.bits = options.bits;
    if (options.job != "all")
        check.jobs = {options.job == "module" ? CheckJob::kModule : CheckJob::kMainBoard};
    if (!options.start.empty())
        check.bench.start = nlohmann::json::parse(options.start);
    check.until = options.until;
    check.withState = options.json;
    const bool shots = !options.out.empty() || !options.json || !options.script.empty();
    if (shots)
        check.outDir = std::filesystem::absolute(options.out.empty() ? "build/check" : options.out).string();
    if (options.keep) {
        check.bench.stateDir = StateFolder("", true).Path();
        std::fprintf(options.json ? stderr : stdout, "state folder: %s\n", check.bench.stateDir.c_str());
    }

    const bool job = options.script.empty();
    bool headed = options.json;
    const auto report = [&](const CheckResult& result) {
        if (!std::exchange(headed, true))
            std::fputs((job ? TableHead() : TableHead("line", "found")).c_str(), stdout);
        std::fputs((options.json ? JsonRow(result) : TableRows(result)).c_str(), stdout);
        std::fflush(stdout);
    };
    const std::vector<CheckResult> results =
        job ? RunCheck(check, report) : RunReplay({check.bench, options.script, check.outDir}, report);

    std::size_t failed = 0;
    for (const CheckResult& result : results)
        if (!result.Passed()) {
            ++failed;
            if (options.json)
                continue;
            std::printf("\n%s%s\n", job ? (result.step + " FAILED: ").c_str() : "", result.wrong.c_str());
            if (!job && std::filesystem::exists(check.outDir + "/" + kFailedScreen))
                std::printf("  the screen at that moment: %s/%s\n", check.outDir.c_str(), kFailedScreen);
            if (!result.at.empty())
                std::printf("  the instrument at that moment: ./run --at '%s'\n", result.at.c_str());
        }
    if (!options.json)
        std::printf("\n%zu steps passed, %zu failed; screenshots%s: %s\n", results.size() - failed, failed,
                    job ? "" : " and session", check.outDir.c_str());
    return failed == 0 && !results.empty() ? 0 : 1;
}

}  // namespace k905
