#include "simulator/panel/replay.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>

#include "simulator/panel/panel_bench.h"

namespace fs = std::filesystem;

namespace k905 {

namespace {

using nlohmann::json;

constexpr std::size_t kLargestScript = 4 << 20;  // bytes
constexpr std::size_t kQuoted = 80;              // of a line that is no request

// The beginning of a line, for a message: the file may be anything.
std::string Readable(std::string line) {
    const bool more = line.size() > kQuoted;
    line.resize(std::min(line.size(), kQuoted));
    for (char& c : line)
        c = std::isprint(static_cast<unsigned char>(c)) != 0 ? c : '?';
    return line + (more ? "..." : "");
}

bool Checks(const ScriptLine& line) {
    return line.request["do"] == "expect" || line.request["do"] == "screenshot";
}

// What an image of the screen is called in the out folder.
std::string PlainName(const json& request) {
    std::string name = request.value("path", json()).is_string() ? request["path"] : "";
    if (name.empty() || fs::path(name) != fs::path(name).filename() || name[0] == '.')
        throw Refused("\"path\" must be a plain file name");
    return name;
}

class Replay {
  public:
    explicit Replay(const ReplayOptions& options) : options_(options), lines_(ReadScript(options.script)) {
        std::error_code error;
        fs::create_directories(options_.outDir, error);
        if (error)
            throw BenchError(options_.outDir + ": cannot be made: " + error.message());
        fs::remove(fs::path(options_.outDir) / kFailedScreen, error);
        if (std::none_of(lines_.begin(), lines_.end(), Checks))
            throw BenchError(options_.script +
                             ": checks nothing: it has no line \"expect\" and no \"screenshot\"");
    }

    std::vector<CheckResult> Run(const std::function<void(const CheckResult&)>& report) {
        std::vector<CheckResult> results;
        SwitchOn();
        for (const ScriptLine& line : lines_) {
            CheckResult result = Do(line);
            if (!result.Passed()) {
                result.at = instrument_->KeepSession(options_.outDir);
                Screen(kFailedScreen);
            }
            if (!Checks(line) && result.Passed())
                continue;
            report(result);
            results.push_back(result);
            if (!result.Passed())
                return results;
        }
        instrument_->KeepSession(options_.outDir);
        return results;
    }

  private:
    std::string Place(const ScriptLine& line) const {
        return options_.script + ":" + std::to_string(line.number) + ": ";
    }

    void SwitchOn() {
        BenchOptions bench = options_.bench;
        const bool set = lines_[0].request["do"] == "bench";
        if (set) {
            bench.start = lines_[0].request;  // also what matters at start-up
            bench.start.erase("do");
        }
        try {
            instrument_ = std::make_unique<PanelBench>(bench);
            instrument_->UntilStarted();
        } catch (const BenchError& error) {
            throw BenchError((set ? Place(lines_[0]) : "") + error.what());
        }
    }

    json Screen(const std::string& name) {
        const std::string path = fs::absolute(fs::path(options_.outDir) / name);
        try {
            return instrument_->Ask({{"do", "screenshot"}, {"path", path}});
        } catch (const BenchError& error) {
            return {{"ok", false}, {"error", error.what()}};
        }
    }

    CheckResult Do(const ScriptLine& line) {
        const std::string what = line.request["do"];
        CheckResult result;
        result.step = std::to_string(line.number) + " " + what;
        try {
            json request = line.request;
            json reply;
            if (what == "screenshot") {
                result.seen = PlainName(request);
                reply = Screen(result.seen);
            } else {
                request["wait"] = true;
                reply = instrument_->Ask(request);
            }
            if (!reply.value("ok", false))
                throw BenchError(reply.value("error", "refused"));
            if (what != "expect")
                return result;
            const std::string expected = reply["expected"], found = reply["found"];
            result.seen = expected + ": " + found;
            if (reply["met"] == true)
                return result;
            result.seen = "expected: " + expected + "\nfound: " + found;
            result.wrong = Place(line) + "expected " + expected + ", found " + found;
        } catch (const std::exception& error) {
            result.seen = error.what();
            result.wrong = Place(line) + error.what();
            if (!instrument_->Crashed())
                return result;
            for (const std::string& last : instrument_->GetStatus().lines)
                result.wrong += "\n  " + last;
        }
        return result;
    }

    const ReplayOptions& options_;
    const std::vector<ScriptLine> lines_;
    std::unique_ptr<PanelBench> instrument_;
};

}  // namespace

std::vector<ScriptLine> ReadScript(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    if (!in || fs::is_directory(file))
        throw BenchError(file + ": cannot be read");
    std::vector<ScriptLine> lines;
    std::string text;
    std::size_t size = 0;
    for (int number = 1; std::getline(in, text); ++number) {
        size += text.size() + 1;
        if (size > kLargestScript)
            throw BenchError(file + ":" + std::to_string(number) + ": a script has at most " +
                             std::to_string(kLargestScript >> 20) + " MiB");
        const std::size_t first = text.find_first_not_of(" \t\r");
        if (first == std::string::npos || text[first] == '#')
            continue;
        json request = json::parse(text, nullptr, false);
        if (!request.is_object() || !request.contains("do") || !request["do"].is_string())
            throw BenchError(file + ":" + std::to_string(number) + ": not a request: " + Readable(text));
        lines.push_back({number, std::move(request)});
    }
    return lines;
}

std::vector<CheckResult> RunReplay(const ReplayOptions& options,
                                   const std::function<void(const CheckResult&)>& report) {
    return Replay(options).Run(report);
}

}  // namespace k905
