#include "simulator/panel/client.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <sstream>
#include <thread>

#include "simulator/models/origin.h"

namespace fs = std::filesystem;

namespace k905 {

namespace {

constexpr int kConnectSeconds = 30;  // real time; a sanitized program on a busy machine is slow to start
constexpr unsigned kLastLines = 12;

// Sanitizer run-time libraries must come before every other library: set by the build, empty otherwise.
#ifndef K905_PRELOAD_FIRST
#define K905_PRELOAD_FIRST ""
#endif

void MustExist(const std::string& path, const char* what, const char* target) {
    if (!fs::exists(path))
        throw BenchError(std::string("the ") + what + " is missing: " + path + " (build the target " +
                         target + ")");
}

std::string Number(double value) {
    std::ostringstream text;
    text << value;
    return text.str();
}

}  // namespace

BuildFolder BuildFolder::OfThisProgram() {
    const fs::path build = fs::read_symlink("/proc/self/exe").parent_path().parent_path();
    return {build / "bin/fct", build / "lib/libk905.so", build / "app/fct"};
}

Bench::Bench(const BenchOptions& options) : folder_(options.stateDir, options.keepState) {
    MustExist(options.build.program, "program", "fct");
    MustExist(options.build.preload, "simulator library", "k905_preload");
    MustExist(options.build.app, "folder of font and bitmaps", "assets");
    try {
        auto filling = StateFolder::Fill();
        PrepareState(options);
        std::map<std::string, std::string> environment = options.environment;
        environment["LD_PRELOAD"] = K905_PRELOAD_FIRST + options.build.preload;
        // The address sanitizer's allocator would look at the clock with its own lock held, and another
        // thread would take over there.
        if (*K905_PRELOAD_FIRST != '\0') {
            const char* own = getenv("ASAN_OPTIONS");
            environment["ASAN_OPTIONS"] =
                std::string(own != nullptr ? own : "") + ":allocator_release_to_os_interval_ms=-1";
        }
        environment["K905_STATE"] = StateDir();
        environment["K905_APP"] = options.build.app;
        environment["K905_MODE"] = options.stepped ? "stepped" : "paced";
        if (!options.stepped)
            environment["K905_SPEED"] = Number(options.speed);
        environment["K905_SEED"] = std::to_string(options.seed);
        environment["K905_BITS"] = std::to_string(options.bits);
        process_ = std::make_unique<Process>(options.build.program, StateDir() + "/console.log", environment);
        folder_.RunBy(Pid());
        filling.unlock();
        Connect(options);
    } catch (...) {
        process_.reset();
        throw;
    }
}

Bench::~Bench() {
    screen_.reset();
    control_.reset();
    process_.reset();
}

void Bench::PrepareState(const BenchOptions& options) {
    // What an earlier run left goes away, but a run that is still alive keeps its folder.
    if (SomebodyAnswers(ControlSocket()))
        throw BenchError(StateDir() + ": another instrument is running in this state folder");
    for (const char* leftover : {"/control.sock", "/console.log", "/start.json"})
        fs::remove(StateDir() + leftover);
    for (const NamedMemory& memory : kNamedMemories)
        fs::remove(StateDir() + "/" + memory.image + kOriginsOf);
    if (options.files)
        LayOut(*options.files, StateDir());
    if (!options.start.is_null())
        std::ofstream(StateDir() + "/start.json") << options.start.dump(2) << '\n';
    if (options.stepped)
        KeepPowerOn(StateDir(), options.seed, options.bits, options.start, options.sameSession);
}

void Bench::Connect(const BenchOptions& options) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(kConnectSeconds);
    while (!control_) {
        if (!process_->Poll().running)
            throw BenchError(DescribeEnding());
        try {
            control_ = std::make_unique<ControlClient>(ControlSocket());
        } catch (const BenchError& error) {
            if (std::chrono::steady_clock::now() > deadline)
                throw BenchError("the simulator does not come up within " + std::to_string(kConnectSeconds) +
                                 " s: " + error.what() + "; " + DescribeEnding());
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
    }
    const nlohmann::json hello = Request({{"do", "hello"}});
    const std::string mode = options.stepped ? "stepped" : "paced";
    if (hello.value("mode", "") != mode)
        throw BenchError("the simulator runs in mode '" + hello.value("mode", "") + "' instead of " + mode);
    if (options.stepped && options.speed != 0)
        Request({{"do", "speed"}, {"factor", options.speed}});
}

nlohmann::json Bench::Ask(const nlohmann::json& request) {
    try {
        return control_->Ask(request);
    } catch (const ConnectionClosed&) {
        // The first that is seen of a crash; the exit status follows in a moment.
        if (!process_->Wait(2).running)
            throw BenchError(DescribeEnding());
        throw;
    }
}

nlohmann::json Bench::Request(const nlohmann::json& request) {
    nlohmann::json reply = Ask(request);
    if (!reply["ok"].get<bool>())
        throw BenchError(request.dump() +
                         " was refused: " + reply.value("error", std::string("no reason given")));
    return reply;
}

std::int64_t Bench::NowUs() {
    return Request({{"do", "hello"}}).at("now_us").get<std::int64_t>();
}

void Bench::Advance(int ms) {
    Request({{"do", "advance"}, {"ms", ms}});
}

bool Bench::Until(nlohmann::json condition, int limitMs) {
    condition["do"] = "until";
    condition["limit_ms"] = limitMs;
    return Request(condition).at("met").get<bool>();
}

bool Bench::UntilText(const std::string& text, int limitMs) {
    return Until({{"text", text}}, limitMs);
}

bool Bench::UntilIdle(int idleMs, int limitMs) {
    return Until({{"idle_ms", idleMs}}, limitMs);
}

bool Bench::UntilExit(int limitMs) {
    return Until({{"exit", true}}, limitMs);
}

void Bench::Tap(int x, int y) {
    Request({{"do", "touch"}, {"action", "tap"}, {"x", x}, {"y", y}});
}

void Bench::Touch(const std::string& control) {
    Request({{"do", "touch"}, {"control", control}});
}

void Bench::Key(const std::string& name, const std::string& action) {
    Request({{"do", "key"}, {"key", name}, {"action", action}});
}

void Bench::Set(const std::string& quantity, const nlohmann::json& value) {
    Request({{"do", "set"}, {"name", quantity}, {"value", value}});
}

void Bench::Fault(const std::string& name, const nlohmann::json& value) {
    Request({{"do", "fault"}, {"name", name}, {"value", value}});
}

std::vector<TextRun> Bench::Texts() {
    std::vector<TextRun> runs;
    const nlohmann::json reply = Request({{"do", "text"}});
    for (const nlohmann::json& item : reply.at("runs")) {
        TextRun run;
        run.x = item.at("x");
        run.y = item.at("y");
        run.width = item.at("w");
        run.color = static_cast<std::uint32_t>(std::stoul(item.at("color").get<std::string>(), nullptr, 16));
        run.text = item.at("text");
        runs.push_back(std::move(run));
    }
    return runs;
}

std::vector<ScreenControl> Bench::Controls() {
    const auto area = [](const nlohmann::json& item) {
        return Area{item.at("x"), item.at("y"), item.at("w"), item.at("h")};
    };
    std::vector<ScreenControl> controls;
    const nlohmann::json reply = Request({{"do", "controls"}});
    for (const nlohmann::json& item : reply.at("controls")) {
        ScreenControl control;
        control.name = item.at("name");
        control.picture = area(item.at("picture"));
        if (item.contains("caption"))
            control.caption = area(item.at("caption"));
        control.touchable = item.contains("enabled");
        if (control.touchable)
            control.enabled = item.at("enabled");
        if (item.contains("at")) {
            control.x = item.at("at").at(0);
            control.y = item.at("at").at(1);
        }
        controls.push_back(std::move(control));
    }
    return controls;
}

std::string Bench::Describe() {
    std::string lines;
    for (const TextRun& run : Texts())
        lines += "  " + std::to_string(run.x) + "," + std::to_string(run.y) + "  " + run.text + "\n";
    return lines.empty() ? "  (no text)\n" : lines;
}

Picture Bench::Screen() {
    if (!screen_)
        screen_ = std::make_unique<ScreenView>(Pid());
    return screen_->Grab();
}

void Bench::Screenshot(const std::string& path) {
    Request({{"do", "screenshot"}, {"path", fs::absolute(path).string()}});
}

std::string Bench::Console() const {
    std::ifstream in(StateDir() + "/console.log", std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

const Ending& Bench::Stop(double seconds, std::int64_t* tookUs) {
    std::int64_t took = -1;
    if (process_->Poll().running && control_) {
        try {
            // In one piece: the wait for the end is under way before the product can have reached it.
            const int limitMs = 3'600'000;
            const auto replies = control_->AskAll({{{"do", "hello"}},
                                                   {{"do", "stop"}},
                                                   {{"do", "until"}, {"exit", true}, {"limit_ms", limitMs}}},
                                                  static_cast<int>(seconds) + 1);
            if (replies[2].value("met", false)) {
                took =
                    replies[2].at("now_us").get<std::int64_t>() - replies[0].at("now_us").get<std::int64_t>();
                leftBehind_ = replies[2].at("state");
                lastCalls_ = replies[2].value("calls", nlohmann::json());
            }
        } catch (const std::exception&) {
            // It may be gone before it can answer.
        }
    }
    if (tookUs != nullptr)
        *tookUs = took;
    if (process_->Wait(seconds).running)
        process_->Kill();
    return process_->Poll();
}

std::string Bench::KeepSession(const std::string& folder) {
    const fs::path kept = fs::path(folder) / kSessionFile;
    try {
        fs::copy_file(StateDir() + "/" + kSessionFile, kept, fs::copy_options::overwrite_existing);
        const Session session = ReadSession(kept);
        // Of a program that has ended, what came last.
        const auto& inputs = session.runs.back().inputs;
        const std::int64_t us = process_->Poll().running ? NowUs()
                                : inputs.empty()         ? 0
                                                         : inputs.back().atUs - 1;
        return DescribeMoment(kept, {session.runs.size() - 1, std::max<std::int64_t>(us, 0)});
    } catch (const std::exception&) {
        return "";
    }
}

std::string Bench::DescribeEnding() {
    std::string text = "fct " + process_->Poll().Describe();
    const std::vector<std::string> lines = LastLines(StateDir() + "/console.log", kLastLines);
    text += lines.empty() ? "; it wrote nothing" : "; its last lines:";
    for (const std::string& line : lines)
        text += "\n  " + line;
    return text;
}

bool Shows(const std::vector<TextRun>& runs, const std::string& text) {
    for (const TextRun& run : runs)
        if (run.text.find(text) != std::string::npos)
            return true;
    return false;
}

}  // namespace k905
