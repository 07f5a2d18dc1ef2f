#include <regex.h>

#include <stdexcept>

#include "simulator/panel/check.h"

namespace k905 {

const std::vector<CheckStep>& CheckSteps() {
    constexpr const char* kStart = "start";
    constexpr const char* kBoard = "mainboard";
    static const std::vector<CheckStep> steps = {
        {"Start",
         kStart,
         nullptr,
         {"^MainBoard  testV20150629$", "^MainBoard_FCT$", "^Welcome to K905_FCT !$"}},
        {"Main board", kStart, "MainBoard_FCT", {"^K905 Mainboard FCT !$", "^Connect$", "^Auto$"}},
        {"Connect", kBoard, "Connect", {"^Connect success!!!$"}, nullptr, {}, 20000},
        {"Voltages",
         kBoard,
         "Voltage Check",
         {"OK  TP97:   [0-9.]{7}V", "OK  TP103:  [0-9.]{7}V", "OK  TP109:  [0-9.]{7}V",
          "OK  TP105:  [0-9.]{7}V", "OK  TP107:  [0-9.]{7}V", "OK  TP113:  [0-9.]{7}V",
          "OK  TP100:  [0-9.]{7}V", "OK  TP99:   [0-9.]{7}V", "OK  TP57:  [0-9.]{7}V",
          "OK  TP24:   [0-9.]{7}V", "OK  TP114:  [0-9.]{7}V", "OK  TP36:  [0-9.]{7}V",
          "OK  TP68:  [0-9.]{7}V"},
         nullptr,
         {},
         70000},
        {"ADC", kBoard, "ADC", {"^OK! result = 0\\.2[0-9]+$"}, nullptr, {}, 30000},
        {"Arm EEPROM", kBoard, "Arm Eeprom", {"^Arm Eeprom Check OK!$"}},
        {"Speaker",
         kBoard,
         "Speaker Check",
         {},  // it is heard
         nullptr,
         {"^reg write 0x30000084 0x2800$", "^reg write 0x30000082 0x0001$"}},
        {"USB", kBoard, "USB Check", {"^Usb Check OK!$"}},
        {"FPGA DDR", kBoard, "FPGA DDR", {"^FPGA DDR OK!!$"}},
        {"Visible on",
         kBoard,
         "Visible Check",
         {"^Visible Check!$"},
         nullptr,
         {"^reg write 0x30000002 0x...[13579bdf]( x[0-9]+)?$"}},
        {"Visible off",
         kBoard,
         "Visible Check",
         {},
         "Visible Check!",
         {"^reg write 0x30000002 0x...[02468ace]( x[0-9]+)?$"}},
        {"Battery", kBoard, "battery voltage", {"^battery level = [0-9]+% \\[[0-9.]+V-[0-9.]+V\\]$"}},
        {"Clock", kBoard, "RTC", {"^RTC  [0-9]{2}:[0-9]{2}:[ 0-9][0-9]  [0-9]{4}/[0-9]{2}/[0-9]{2}$"}},
        {"SD card", kBoard, "SDcard Check", {"^Check SDcard OK!$"}},
        {"Auto",
         kBoard,
         "Auto",
         {"^Voltage Check OK!$", "^Arm Eeprom Check OK!$", "^Usb Check OK!$", "^FPGA DDR Check OK!$",
          "^ADC Check OK!$", "^SDcard Check OK!$"},
         nullptr,
         {},
         120000},
    };
    return steps;
}

namespace {

// A POSIX extended regular expression.
class Pattern {
  public:
    explicit Pattern(const char* text) {
        if (regcomp(&compiled_, text, REG_EXTENDED | REG_NOSUB) != 0)
            throw std::invalid_argument(std::string("not a regular expression: ") + text);
    }
    ~Pattern() { regfree(&compiled_); }
    Pattern(const Pattern&) = delete;
    Pattern& operator=(const Pattern&) = delete;

    bool IsIn(const std::string& line) const { return regexec(&compiled_, line.c_str(), 0, nullptr, 0) == 0; }

  private:
    regex_t compiled_;
};

const TextRun* Find(const std::vector<TextRun>& runs, const char* text) {
    const Pattern pattern(text);
    for (const TextRun& run : runs)
        if (pattern.IsIn(run.text))
            return &run;
    return nullptr;
}

void Append(std::string& list, const std::string& item) {
    list += (list.empty() ? "" : "; ") + item;
}

}  // namespace

CheckResult Judge(const CheckStep& step, const std::vector<TextRun>& runs,
                  const std::vector<std::string>& trace) {
    CheckResult result;
    result.step = step.name;
    for (const char* pattern : step.shows) {
        if (const TextRun* run = Find(runs, pattern))
            Append(result.seen, run->text);
        else
            Append(result.wrong, std::string("not on the screen: ") + pattern);
    }
    if (step.gone != nullptr) {
        if (Shows(runs, step.gone))
            Append(result.wrong, std::string("still on the screen: ") + step.gone);
        else
            Append(result.seen, std::string("no longer '") + step.gone + "'");
    }
    auto from = trace.begin();
    for (const char* text : step.hardware) {
        const Pattern pattern(text);
        while (from != trace.end() && !pattern.IsIn(*from))
            ++from;
        if (from == trace.end()) {
            Append(result.wrong, std::string("not done to the hardware: ") + text);
            break;
        }
        Append(result.seen, *from++);
    }
    return result;
}

}  // namespace k905
