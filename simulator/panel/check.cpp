#include "simulator/panel/check.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <memory>

#include "simulator/panel/check_record.h"
#include "simulator/panel/ctl_words.h"

namespace fs = std::filesystem;

namespace k905 {

namespace {

constexpr std::uint32_t kPressedCaption = 0x3C3028;
constexpr int kSettledMs = 300;  // the screen unchanged for so long: the handler has done its drawing
constexpr int kLookMs = 20;      // how often a key's picture is looked at
constexpr int kKeyLimitMs = 1000;

// A key, or a turn of the knob, and its picture on the key check screen.
struct KeyPicture {
    std::string key;  // name in the control protocol; empty for the knob's turns
    int steps;        // of the knob, for its turns
    ScreenControl shown = {};
    // Pixels of its picture that no other key covers too: those show this key's state and nothing else.
    std::vector<std::pair<int, int>> own = {};
};

// One run of the job.
class Job {
  public:
    Job(const CheckOptions& options, const std::function<void(const CheckResult&)>& report);
    std::vector<CheckResult> Run();

  private:
    bool Do(const CheckStep& step);
    bool DoAll(CheckJob job);
    void Follow(Then what);
    CheckResult Perform(const CheckStep& step);
    std::vector<std::string> Trace(const CheckStep& step);

    void CompareRecord();
    void CheckKeys();
    CheckResult CheckKey(const KeyPicture& key);
    bool UntilLook(const KeyPicture& key, const Picture& released, bool lit);
    std::string JudgeLit(const KeyPicture& key, const Picture& released, std::string& seen);

    void End();
    void Report(CheckResult result);
    void Shot(const std::string& name);

    CheckOptions options_;
    std::function<void(const CheckResult&)> report_;
    Bench bench_;
    std::vector<CheckResult> results_;
    const char* doing_ = "Start";
    int shots_ = 0;
};

BenchOptions Stepped(BenchOptions options) {
    options.stepped = true;
    return options;
}

std::string Lower(std::string text) {
    for (char& c : text)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

// The folder holds the pictures of this run only.
void PrepareFolder(const std::string& folder) {
    std::error_code error;
    fs::create_directories(folder, error);
    if (error)
        throw BenchError(folder + ": cannot be made: " + error.message());
    for (const auto& entry : fs::directory_iterator(folder)) {
        const std::string name = entry.path().filename().string();
        if (entry.path().extension() == ".png" && name.size() > 3 && std::isdigit(name[0]) &&
            std::isdigit(name[1]) && name[2] == '-')
            fs::remove(entry.path());
    }
}

Job::Job(const CheckOptions& options, const std::function<void(const CheckResult&)>& report)
    : options_(options), report_(report), bench_(Stepped(options.bench)) {
    if (!options.outDir.empty())
        PrepareFolder(options.outDir);
}

std::vector<CheckResult> Job::Run() {
    try {
        for (const CheckJob job : options_.jobs)
            if (!DoAll(job))
                break;
        doing_ = "End";
        End();
    } catch (const std::exception& error) {
        Report({doing_, "", error.what()});
    }
    return results_;
}

// Returns whether the instrument is where the next job begins. A failed check is only a failed check; without
// its screen the rest cannot be done.
bool Job::DoAll(CheckJob job) {
    for (const CheckStep& step : CheckSteps(job)) {
        doing_ = step.name;
        if (!Do(step) && step.opens)
            return false;
        Follow(step.then);
        if (options_.until == step.name)
            return false;
    }
    return true;
}

void Job::Follow(Then what) {
    switch (what) {
        case Then::kNothing:
            break;
        case Then::kEveryKey:
            CheckKeys();
            break;
        case Then::kCompareRecord:
            CompareRecord();
            break;
    }
}

void Job::Report(CheckResult result) {
    if (!result.Passed() && !options_.outDir.empty())
        result.at = bench_.KeepSession(options_.outDir);
    report_(result);
    results_.push_back(std::move(result));
}

void Job::Shot(const std::string& name) {
    if (options_.outDir.empty())
        return;
    std::string file = Lower(name);
    for (char& c : file)
        c = std::isalnum(static_cast<unsigned char>(c)) ? c : '-';
    char number[16];
    std::snprintf(number, sizeof number, "%02d-", ++shots_);
    bench_.Screenshot((fs::path(options_.outDir) / (number + file + ".png")).string());
}

std::vector<std::string> Job::Trace(const CheckStep& step) {
    if (step.hardware.empty())
        return {};
    const nlohmann::json request = {{"do", "trace"}, {"action", "read"}, {"kinds", {"reg"}}, {"plain", true}};
    return bench_.Request(request).at("lines").get<std::vector<std::string>>();
}

// Touches the control and looks at the screen until it shows what it must, or the limit has passed.
CheckResult Job::Perform(const CheckStep& step) {
    if (!step.hardware.empty()) {
        bench_.Request({{"do", "trace"}, {"action", "clear"}});
        bench_.Request({{"do", "trace"}, {"action", "start"}});
    }
    for (std::size_t i = 0; i + 1 < step.bench.size(); i += 2)
        bench_.Set(step.bench[i], nlohmann::json::parse(step.bench[i + 1]));
    if (step.control != nullptr) {
        // What stands there already would prove nothing.
        if (Judge(step, bench_.Texts(), Trace(step)).Passed())
            return {step.name, "", "the screen shows it before the control is touched"};
        bench_.Touch(step.control);
    }
    const std::int64_t begin = bench_.NowUs();
    const auto passedMs = [&] { return static_cast<int>((bench_.NowUs() - begin) / 1000); };
    CheckResult result;
    do {
        bench_.Advance(std::clamp(passedMs() / 20, 100, 10000));
        result = Judge(step, bench_.Texts(), Trace(step));
    } while (!result.Passed() && passedMs() < step.limitMs);
    const double seconds = passedMs() / 1e3;
    bench_.UntilIdle(kSettledMs, 5000);
    if (result.Passed())
        result = Judge(step, bench_.Texts(), Trace(step));
    if (!step.hardware.empty())
        bench_.Request({{"do", "trace"}, {"action", "stop"}});
    result.seconds = seconds;
    if (options_.withState) {
        for (const TextRun& text : Paragraphs(bench_.Texts()))
            result.texts.push_back(text.text);
        result.state = bench_.Request({{"do", "state"}}).at("state").dump();
    }
    return result;
}

bool Job::Do(const CheckStep& step) {
    CheckResult result = Perform(step);
    Shot(step.name);
    if (!result.Passed())
        result.wrong += " (within " + std::to_string(step.limitMs) +
                        " ms of the instrument's time); the screen shows:\n" + bench_.Describe();
    const bool passed = result.Passed();
    Report(std::move(result));
    return passed;
}

void Job::CompareRecord() {
    CheckResult result = {std::string(doing_) + " values", "", ""};
    const std::vector<TextRun> shown = bench_.Texts();
    const std::vector<std::string> lines = RecordLines(bench_.StateDir() + "/tuning.bin");
    for (const std::string& line : lines)
        if (!Shows(shown, line))
            result.wrong += "the driver's record says " + line + "; ";
    result.seen = std::to_string(lines.size()) + " values, compared with the driver's record";
    Report(std::move(result));
}

// The keys and turns, as the screen shows them; one that it does not show has no pixels.
std::vector<KeyPicture> KeyPictures(const std::vector<ScreenControl>& controls) {
    std::vector<KeyPicture> keys;
    for (const std::string& key : KeyNames())
        keys.push_back({key, 0});
    keys.push_back({"", 1});
    keys.push_back({"", -1});
    for (KeyPicture& key : keys) {
        const std::string name = !key.key.empty() ? key.key : key.steps > 0 ? "clock" : "anti";
        for (const ScreenControl& control : controls)
            if (Lower(control.name) == name)
                key.shown = control;
    }
    for (KeyPicture& key : keys) {
        const Area& picture = key.shown.picture;
        const auto shared = [&](int x, int y) {
            return std::any_of(keys.begin(), keys.end(), [&](const KeyPicture& other) {
                return &other != &key &&
                       (other.shown.picture.Contains(x, y) || other.shown.caption.Contains(x, y));
            });
        };
        for (int y = picture.y; y < picture.y + picture.height; ++y)
            for (int x = picture.x; x < picture.x + picture.width; ++x)
                if (!shared(x, y))
                    key.own.emplace_back(x, y);
    }
    return keys;
}

void Job::CheckKeys() {
    for (const KeyPicture& key : KeyPictures(bench_.Controls()))
        Report(CheckKey(key));
}

int ChangedPixels(const KeyPicture& key, const Picture& before, const Picture& after) {
    int changed = 0;
    for (const auto& [x, y] : key.own)
        changed += !before.SamePixel(after, x, y);
    return changed;
}

bool Job::UntilLook(const KeyPicture& key, const Picture& released, bool lit) {
    for (int ms = 0; ms < kKeyLimitMs; ms += kLookMs) {
        bench_.Advance(kLookMs);
        if ((ChangedPixels(key, released, bench_.Screen()) > 0) == lit)
            return true;
    }
    return false;
}

// While the key is held: its picture has another bitmap, its caption the pressed colour, all else is as it
// was.
std::string Job::JudgeLit(const KeyPicture& key, const Picture& released, std::string& seen) {
    const Picture pressed = bench_.Screen();
    const int changed = ChangedPixels(key, released, pressed);
    seen = "'" + key.shown.name + "' lit, " + std::to_string(changed) + " pixels";
    bool caption = false;
    for (const TextRun& run : bench_.Texts())
        caption = caption || (run.text == key.shown.name && run.color == kPressedCaption &&
                              key.shown.caption.Contains(run.x, run.y));
    if (!caption)
        return "the caption does not have the pressed colour";
    for (int y = 0; y < static_cast<int>(pressed.shape.height); ++y) {
        if (released.SameRow(pressed, y))
            continue;
        for (int x = 0; x < static_cast<int>(pressed.shape.width); ++x)
            if (!key.shown.picture.Contains(x, y) && !key.shown.caption.Contains(x, y) &&
                !released.SamePixel(pressed, x, y))
                return "the screen changes at " + std::to_string(x) + "," + std::to_string(y) + " too";
    }
    // The caption alone changes some hundred pixels at most; a picture in its pressed look changes its frame
    // or face.
    const auto face = [&](int x, int y) {
        return !key.shown.caption.Contains(x, y) && !released.SamePixel(pressed, x, y);
    };
    for (const auto& [x, y] : key.own)
        if (face(x, y))
            return "";
    return "the picture keeps its released look";
}

CheckResult Job::CheckKey(const KeyPicture& key) {
    CheckResult result;
    result.step = !key.key.empty() ? "Key " + key.shown.name
                                   : std::string("Knob ") + (key.steps > 0 ? "clockwise" : "anticlockwise");
    bench_.UntilIdle(kSettledMs, 2000);
    const Picture released = bench_.Screen();
    if (!key.key.empty())
        bench_.Key(key.key, "down");
    else
        bench_.Request({{"do", "knob"}, {"steps", key.steps}});
    if (UntilLook(key, released, true)) {
        if (!key.key.empty())
            bench_.Advance(2 * kLookMs);  // the caption is drawn right after the picture
        result.wrong = JudgeLit(key, released, result.seen);
        Shot(result.step);
    } else {
        result.wrong = "its picture does not change within " + std::to_string(kKeyLimitMs) + " ms";
    }
    if (!key.key.empty())
        bench_.Key(key.key, "up");
    if (UntilLook(key, released, false))
        result.seen += ", then released";
    else if (result.Passed())
        result.wrong = "its picture does not return to the released look";
    return result;
}

void Job::End() {
    const Ending& ending = bench_.Stop();
    CheckResult result = {"End", "fct " + ending.Describe() + " after SIGTERM", ""};
    if (ending.signal != 0 || ending.status != 0)
        result.wrong = bench_.DescribeEnding();
    Report(std::move(result));
}

constexpr std::size_t kStepWidth = 18;
constexpr std::size_t kSeenWidth = 64;

std::size_t Characters(const std::string& text) {
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xC0) != 0x80; }));
}

std::string Padded(std::string text, std::size_t width) {
    const std::size_t shown = Characters(text);
    return text.append(shown < width ? width - shown : 0, ' ');
}

// Lines of at most `width` characters, broken after a semicolon where there is one, or at a blank.
std::vector<std::string> Wrapped(const std::string& text, std::size_t width) {
    std::vector<std::string> lines(1);
    std::size_t shown = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        std::string& line = lines.back();
        const bool begins = (text[i] & 0xC0) != 0x80;  // a character, of one byte or more
        if (text[i] == '\n' || (begins && shown == width)) {
            std::string rest;
            if (text[i] != '\n') {
                std::size_t end = line.rfind("; ");
                end = end != std::string::npos ? end + 1 : line.rfind(' ');
                if (end != std::string::npos && end > 0) {
                    rest = line.substr(end + 1);
                    line.resize(end + 1);
                }
                rest += text[i];
            }
            shown = Characters(rest);
            lines.push_back(rest);
            continue;
        }
        line += text[i];
        shown += begins;
    }
    return lines;
}

}  // namespace

std::vector<CheckResult> RunCheck(const CheckOptions& options,
                                  const std::function<void(const CheckResult&)>& report) {
    return std::make_unique<Job>(options, report)->Run();
}

bool IsCheckStep(const std::string& name) {
    for (const CheckJob job : {CheckJob::kMainBoard, CheckJob::kModule})
        for (const CheckStep& step : CheckSteps(job))
            if (name == step.name)
                return true;
    return false;
}

std::string TableHead(const std::string& step, const std::string& seen) {
    return Padded(step, kStepWidth) + " | " + Padded(seen, kSeenWidth) + " | result\n" +
           std::string(kStepWidth + 1, '-') + "+" + std::string(kSeenWidth + 2, '-') + "+-------\n";
}

std::string TableRows(const CheckResult& result) {
    const std::vector<std::string> steps = Wrapped(result.step, kStepWidth);
    const std::vector<std::string> seen = Wrapped(result.seen, kSeenWidth);
    const auto row = [](const std::vector<std::string>& column, std::size_t i) {
        return i < column.size() ? column[i] : std::string();
    };
    std::string rows;
    for (std::size_t i = 0; i < std::max(steps.size(), seen.size()); ++i)
        rows += Padded(row(steps, i), kStepWidth) + " | " + Padded(row(seen, i), kSeenWidth) + " |" +
                (i > 0             ? "\n"
                 : result.Passed() ? " passed\n"
                                   : " FAILED\n");
    return rows;
}

std::string JsonRow(const CheckResult& result) {
    const nlohmann::json row = {
        {"step", result.step},
        {"passed", result.Passed()},
        {"seen", result.seen},
        {"wrong", result.wrong},
        {"seconds", result.seconds},
        {"texts", result.texts},
        {"state", result.state.empty() ? nlohmann::json() : nlohmann::json::parse(result.state)}};
    return row.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
}

}  // namespace k905
