#include "simulator/panel/replay.h"

#include <filesystem>
#include <fstream>

namespace k905 {

namespace {

constexpr const char* kStarted = "MainBoard_FCT";  // on the start screen
constexpr int kStartMs = 10'000;                   // for it to come; with some faults it never does
constexpr int kStillMs = 500;                      // from then on
constexpr int kExpectMs = 60'000;                  // for an expected text, where the script does not tell

int Milliseconds(const nlohmann::json& request, const char* name, int otherwise) {
    const nlohmann::json value = request.value(name, nlohmann::json(otherwise));
    if (!value.is_number() || value < 0 || value > 100'000'000)
        throw BenchError(std::string("\"") + name + "\" is no time in milliseconds");
    return static_cast<int>(value.get<double>());
}

// One line of the script; true when it is worth a row of the table.
bool DoLine(Bench& bench, const nlohmann::json& request, const std::string& outDir, CheckResult& result) {
    const std::string what = request["do"];
    if (what == "wait") {
        bench.Advance(Milliseconds(request, "ms", 0));
        return false;
    }
    if (what == "expect") {
        const std::string text = request.at("text").get<std::string>();
        result.step = "expect \"" + text + "\"";
        result.seen = text;
        if (!bench.UntilText(text, Milliseconds(request, "limit_ms", kExpectMs))) {
            result.seen = "";
            result.wrong = "the text did not come; on the screen:\n" + bench.Describe();
        }
        return true;
    }
    if (what == "screenshot") {
        const std::filesystem::path name = request.at("path").get<std::string>();
        if (name.empty() || name != name.filename())
            throw BenchError("\"path\" must be a plain file name");
        bench.Screenshot((std::filesystem::path(outDir) / name).string());
        result.seen = name.string();
        return true;
    }
    const nlohmann::json reply = bench.Ask(request);
    if (!reply.value("ok", false))
        result.wrong = reply.value("error", "refused");
    return !result.Passed();
}

}  // namespace

std::vector<ScriptLine> ReadScript(const std::string& file) {
    std::ifstream in(file);
    if (!in)
        throw BenchError(file + ": cannot be read");
    std::vector<ScriptLine> lines;
    std::string text;
    for (int number = 1; std::getline(in, text); ++number) {
        const std::size_t first = text.find_first_not_of(" \t\r");
        if (first == std::string::npos || text[first] == '#')
            continue;
        nlohmann::json request = nlohmann::json::parse(text, nullptr, false);
        if (!request.is_object() || !request.contains("do") || !request["do"].is_string())
            throw BenchError(file + ":" + std::to_string(number) + ": not a request: " + text);
        lines.push_back({number, std::move(request)});
    }
    return lines;
}

std::vector<CheckResult> RunReplay(const ReplayOptions& options,
                                   const std::function<void(const CheckResult&)>& report) {
    const std::vector<ScriptLine> lines = ReadScript(options.script);
    std::filesystem::create_directories(options.outDir);
    BenchOptions started = options.bench;
    if (!lines.empty() && lines[0].request["do"] == "bench") {
        started.start = lines[0].request;  // also what matters at start-up
        started.start.erase("do");
    }
    Bench bench(started);
    if (bench.UntilText(kStarted, kStartMs))
        bench.UntilIdle(kStillMs, kStartMs);
    std::vector<CheckResult> results;
    for (const ScriptLine& line : lines) {
        CheckResult result;
        result.step = "line " + std::to_string(line.number) + ": " + line.request["do"].get<std::string>();
        bool worthARow = true;
        try {
            worthARow = DoLine(bench, line.request, options.outDir, result);
        } catch (const std::exception& error) {
            result.wrong = error.what();
        }
        if (!worthARow)
            continue;
        if (!result.Passed())
            result.at = bench.KeepSession(options.outDir);
        results.push_back(result);
        report(result);
        if (!result.Passed())
            break;
    }
    if (results.empty())
        throw BenchError(
            options.script +
            ": was gone through, but checks nothing: it has no line \"expect\" and no \"screenshot\"");
    return results;
}

}  // namespace k905
