#include <regex.h>

#include <stdexcept>

#include "simulator/panel/check.h"

namespace k905 {

namespace {

using Steps = std::vector<CheckStep>;

CheckStep Step(const char* name, const char* control, std::vector<const char*> shows) {
    return {name, control, std::move(shows)};
}

constexpr const char* kMenuIcon = "^OPM_Adjust$";

Steps MainBoardSteps() {
    return {
        Step("Start", nullptr, {"^MainBoard  testV20150629$", "^MainBoard_FCT$", "^Welcome to K905_FCT !$"})
            .Opens(),
        Step("Main board", "MainBoard_FCT", {"^K905 Mainboard FCT !$", "^Connect$", "^Auto$"}).Opens(),
        Step("Connect", "Connect", {"^Connect success!!!$"}).Within(20000),
        Step("Voltages", "Voltage Check",
             {"OK  TP97:   [0-9.]{7}V", "OK  TP103:  [0-9.]{7}V", "OK  TP109:  [0-9.]{7}V",
              "OK  TP105:  [0-9.]{7}V", "OK  TP107:  [0-9.]{7}V", "OK  TP113:  [0-9.]{7}V",
              "OK  TP100:  [0-9.]{7}V", "OK  TP99:   [0-9.]{7}V", "OK  TP57:  [0-9.]{7}V",
              "OK  TP24:   [0-9.]{7}V", "OK  TP114:  [0-9.]{7}V", "OK  TP36:  [0-9.]{7}V",
              "OK  TP68:  [0-9.]{7}V"})
            .Within(70000),
        Step("ADC", "ADC", {"^OK! result = 0\\.2[0-9]+$"}).Within(30000),
        Step("Arm EEPROM", "Arm Eeprom", {"^Arm Eeprom Check OK!$"}),
        // It is heard.
        Step("Speaker", "Speaker Check", {})
            .Hardware({"^reg write 0x30000084 0x2800$", "^reg write 0x30000082 0x0001$"}),
        Step("USB", "USB Check", {"^Usb Check OK!$"}),
        Step("FPGA DDR", "FPGA DDR", {"^FPGA DDR OK!!$"}),
        Step("Visible on", "Visible Check", {"^Visible Check!$"})
            .Hardware({"^reg write 0x30000002 0x...[13579bdf]( x[0-9]+)?$"}),
        Step("Visible off", "Visible Check", {})
            .Gone("Visible Check!")
            .Hardware({"^reg write 0x30000002 0x...[02468ace]( x[0-9]+)?$"}),
        Step("Battery", "battery voltage", {"^battery level = [0-9]+% \\[[0-9.]+V-[0-9.]+V\\]$"}),
        Step("Clock", "RTC", {"^RTC  [0-9]{2}:[0-9]{2}:[ 0-9][0-9]  [0-9]{4}/[0-9]{2}/[0-9]{2}$"}),
        Step("SD card", "SDcard Check", {"^Check SDcard OK!$"}),
        Step("Auto", "Auto",
             {"^Voltage Check OK!$", "^Arm Eeprom Check OK!$", "^Usb Check OK!$", "^FPGA DDR Check OK!$",
              "^ADC Check OK!$", "^SDcard Check OK!$"})
            .Within(120000),
        Step("Key check", "Key Check", {"^Realt$", "^Anti$"}).Opens().Followed(Then::kEveryKey),
        Step("Back", "Back", {"^K905 Mainboard FCT !$"}).Opens(),
        Step("Disconnect", "Connect", {"^Connect fail!!!$"}),
        Step("Start screen", "Back", {"^Welcome to K905_FCT !$"}).Opens(),
    };
}

Steps ModuleSteps() {
    return {
        Step("Module", nullptr, {"^Opticl_FCT$", "^Welcome to K905_FCT !$"}).Opens(),
        Step("Optical menu", "Opticl_FCT",
             {"^OPM  testV20150629$", kMenuIcon, "^OPT_Adjust$", "^OPM_FCT$", "^APD_Adjust$", "^E2PROM$",
              "^K905 Optical FCT !$"})
            .Opens(),

        Step("OPM test", "OPM_FCT", {"^OPM FCT$", "^Signal chain$"}).Opens(),
        Step("OPM connect", "Connect", {"^Connect Success!!!$"}).Within(20000),
        Step("OPM voltages", "Voltage Check",
             {"OK  TP18:  [0-9.]{7}V", "OK  TP16:  [0-9.]{7}V", "OK  TP17:  [0-9.]{7}V"})
            .Within(20000),
        Step("Signal chain", "Signal chain",
             {"^6300channel: success!!!", "^6301channel: success!!!", "^6303channel: success!!!",
              "^6307channel: success!!!"})
            .Within(180000),
        Step("OPM EEPROM", "Eeprom Check", {"^Eeprom Check OK!$"}).Within(20000),
        Step("Temperature", "Temperature", {"^Temperature = [0-9]+\\.[0-9]+$"}),
        Step("Menu again", "Back", {kMenuIcon, "^Connect Success !$"}).Opens(),

        Step("OPM adjust", "OPM_Adjust", {"^OPM Adjust$", "^Att1$", "^infomation eara!$"}).Opens(),
        Step("Disconnect OPM", "Connect", {"^Connect Fail!!!$"}),
        Step("Connect OPM", "Connect", {"^Connect Success!!!$"}).Within(20000),
        // The loops' tolerances: 0.1 V of the APD's targets, 0.05 V of VDD's, 0.01 V of the attenuators'
        // zero.
        Step("Adjust APD", "Apd",
             {"^Ad: (44.9|45.[01])V reg:0x[0-9a-f]{4} +Ad: (39.9|40.[01])V reg:0x[0-9a-f]{4} +"
              "Ad: (34.9|35.[01]) *V reg:0x[0-9a-f]{4} +Ad: (29.9|30.[01])V reg:0x[0-9a-f]{4} +"
              "Ad: (24.9|25.[01])V reg:0x[0-9a-f]{4}$"})
            .Within(600000),
        Step("Adjust VDD", "Vdd",
             {"^Ad: +(2.9|3.[01])V reg:0x[0-9a-f]{4} +Ad: +2.[456]V reg:0x[0-9a-f]{4} +"
              "Ad: +(1.9|2.[01])V reg:0x[0-9a-f]{4} +Ad: +1.[456]V reg:0x[0-9a-f]{4}$"})
            .Within(600000),
        Step("Adjust ATT0", "Att0", {"^Ad: +-?0.0V reg:0x[0-9a-f]+$"}).Within(600000),
        Step("Adjust ATT1", "Att1", {"^Ad: +-?0.0V reg:0x[0-9a-f]+ +BlackLevel = [0-9]+$"}).Within(600000),
        Step("Menu from OPM", "Back", {kMenuIcon}).Opens(),

        Step("Optical check", "OPT_Adjust", {"^Opt check$", "^Dev adjust$"}).Opens(),
        Step("Light paths", "Opt check",
             // It wraps before "check": the blanks at the end of a line leave nothing to be read.
             {"^1310 Optical check good     1550 Optical check good *check over!!!$"})
            .With("optics.fibre", "\"1.5 km\"")
            .Within(600000),
        Step("Fibre offset", "Dev adjust", {"offset = [0-9]+ Adjust Success"})
            .With("optics.fibre", "\"5 m\"")
            .Within(60000),
        Step("Menu from optics", "Back", {kMenuIcon}).Opens(),

        Step("APD adjust", "APD_Adjust", {"^APD Adjust$", "^data area$", "^info area$"}).Opens(),
        Step("APD start", "Start", {"APD Tuning Start Success!"})
            .With("optics.fibre", "\"none\"")
            .With("module.temperature", "24")
            .Within(600000),
        Step("APD tuning", nullptr, {"^APDTuning over!$"})
            .With("module.temperature_rate", "0.15")
            .Within(20000000),
        Step("APD record", "E2PROM",
             {"^E2PROM$", "^pOpmTunning->fTempCoefficient0 = ?[1-9][0-9]?\\.[0-9]{2}$"})
            .With("module.temperature_rate", "0")
            .Opens()
            .Followed(Then::kCompareRecord),
        Step("Menu from APD", "Back", {kMenuIcon}).Opens(),
        Step("E2PROM", "E2PROM", {"^E2PROM$", "^pOpmTunning->iAtt0="}).Opens().Followed(Then::kCompareRecord),
        Step("Menu at last", "Back", {kMenuIcon}).Opens(),
        Step("Start at last", "Back", {"^MainBoard_FCT$", "^Connect Success !$"}).Opens(),
    };
}

}  // namespace

const std::vector<CheckStep>& CheckSteps(CheckJob job) {
    static const Steps board = MainBoardSteps(), module = ModuleSteps();
    return job == CheckJob::kMainBoard ? board : module;
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

std::vector<TextRun> Paragraphs(const std::vector<TextRun>& runs) {
    constexpr int kPitch = 18;  // of a wrapped text's lines
    std::vector<TextRun> paragraphs;
    std::vector<int> bottoms;  // of the last line of each
    for (const TextRun& run : runs) {
        std::size_t above = 0;
        while (above < paragraphs.size() &&
               (paragraphs[above].x != run.x || bottoms[above] + kPitch != run.y))
            ++above;
        if (above < paragraphs.size()) {
            paragraphs[above].text += run.text;
            bottoms[above] = run.y;
        } else {
            paragraphs.push_back(run);
            bottoms.push_back(run.y);
        }
    }
    return paragraphs;
}

CheckResult Judge(const CheckStep& step, const std::vector<TextRun>& runs,
                  const std::vector<std::string>& trace) {
    CheckResult result;
    result.step = step.name;
    const std::vector<TextRun> texts = Paragraphs(runs);
    for (const char* pattern : step.shows) {
        if (const TextRun* run = Find(texts, pattern))
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
