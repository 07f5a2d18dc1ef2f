#include <cstdio>
#include <filesystem>

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
        std::string folder = (std::filesystem::temp_directory_path() / "k905-check-XXXXXX").string();
        if (mkdtemp(folder.data()) == nullptr)
            throw BenchError(folder + ": cannot be made");
        check.bench.stateDir = folder;
        std::fprintf(options.json ? stderr : stdout, "state folder: %s\n", folder.c_str());
    }

    if (!options.json)
        std::fputs(TableHead().c_str(), stdout);
    const auto report = [&](const CheckResult& result) {
        std::fputs((options.json ? JsonRow(result) : TableRows(result)).c_str(), stdout);
        std::fflush(stdout);
    };
    const std::vector<CheckResult> results =
        options.script.empty() ? RunCheck(check, report)
                               : RunReplay({check.bench, options.script, check.outDir}, report);

    std::size_t failed = 0;
    for (const CheckResult& result : results)
        if (!result.Passed()) {
            ++failed;
            if (options.json)
                continue;
            std::printf("\n%s FAILED: %s\n", result.step.c_str(), result.wrong.c_str());
            if (!result.at.empty())
                std::printf("  the instrument at that moment: ./run --at '%s'\n", result.at.c_str());
        }
    if (!options.json)
        std::printf("\n%zu steps passed, %zu failed; screenshots: %s\n", results.size() - failed, failed,
                    check.outDir.c_str());
    return failed == 0 && !results.empty() ? 0 : 1;
}

}  // namespace k905
