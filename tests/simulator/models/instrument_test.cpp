// The instrument as a whole: nodes, bench quantities, faults, start-up file, power.
#include "simulator/models/instrument.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cmath>
#include <set>
#include <stdexcept>

#include "simulator/models/host_file.h"
#include "simulator/models/parts.h"
#include "tests/simulator/models/bench_world.h"

namespace k905 {

using nlohmann::json;

class WholeInstrument : public testing::Test {
  protected:
    BenchWorld world_;
    TemporaryFolder folder_, app_;
    Instrument::Options options_;
    std::unique_ptr<Instrument> instrument_;

    void SetUp() override {
        host::MakeDirectories(app_.Path() + "/font");
        host::MakeDirectories(app_.Path() + "/bitmap");
        host::WriteFile(app_.Path() + "/font/unicode.fnt", "FONTDATA");
        host::WriteFile(app_.Path() + "/bitmap/bg_desk.bmp", "BMDATA");
        host::WriteFile(app_.Path() + "/bitmap/btn_back.bmp", "BMDATA");
        options_.stateDir = folder_.Path() + "/state";
        options_.appDir = app_.Path();
        Make();
    }
    void Make() {
        instrument_.reset();
        instrument_ = std::make_unique<Instrument>(world_, options_);
    }
    std::unique_ptr<DeviceFile> Open(const char* path, int& error) {
        return instrument_->Node(path)->Open(0, error);
    }
    int Shell(const std::string& command) {
        std::string output;
        return instrument_->Shell(command, output);
    }
    bool Exists(const char* path) const { return host::Exists(options_.stateDir + "/root" + path); }
};

TEST_F(WholeInstrument, HasItsNodesAndNoOthers) {
    for (const char* path : {"/dev/fb0", "/dev/keyb0", "/dev/event2", "/dev/optic0", "/dev/fpga0",
                             "/dev/ttyS0", "/dev/rtc0", "/dev/i2c-1", "/dev/p89lpc933_0"})
        EXPECT_NE(instrument_->Node(path), nullptr) << path;
    EXPECT_EQ(instrument_->Node("/dev/null"), nullptr);
    EXPECT_EQ(instrument_->Node(""), nullptr);
    EXPECT_FALSE(instrument_->Present("/dev/null"));
}

TEST_F(WholeInstrument, NodesAppearWithTheirModules) {
    const struct {
        const char *module, *node;
    } modules[] = {{"drv_fpga", "/dev/fpga0"}, {"drv_keypad", "/dev/keyb0"}, {"drv_optic", "/dev/optic0"}};
    for (const auto& entry : modules) {
        int error = 0;
        EXPECT_FALSE(instrument_->Present(entry.node));
        EXPECT_EQ(Open(entry.node, error), nullptr);
        EXPECT_EQ(error, ENOENT);
        EXPECT_EQ(Shell(std::string("insmod /lib/modules/2.6.30/") + entry.module + ".ko"), 0);
        EXPECT_TRUE(instrument_->Present(entry.node));
        EXPECT_NE(Open(entry.node, error), nullptr);
    }
}

TEST_F(WholeInstrument, EveryQuantityIsTakenAndShown) {
    const struct {
        const char* name;
        json good, bad;
    } cases[] = {
        {"board.plugged", false, 3},
        {"board.rail.TP97", 0.5, "x"},
        {"board.rail.TP97", nullptr, true},
        {"straps.pb8", 1, 2},
        {"power.level", 40, 1000},
        {"rtc.time", "2020-01-02 03:04:05", "yesterday"},
        {"rtc.time", 1000000000, -5},
        {"sd.present", false, 0},
        {"usb.sticks", 2, 9},
        {"module.temperature", -12.345, 200},
        {"module.temperature_rate", 1.5, 1000},
        {"module.temperature_rate", {{"to", 55}, {"rate", 1}}, {{"to", 55}, {"rate", 1}, {"at", 1}}},
        {"module.seed", 77, -1},
        {"noise.seed", 4294967295, 4294967296},
        {"screen.size", json::array({1024, 600}), json::array({0, 600})},
    };
    for (const auto& entry : cases) {
        EXPECT_EQ(instrument_->Set(entry.name, entry.good), "") << entry.name;
        EXPECT_NE(instrument_->Set(entry.name, entry.bad), "") << entry.name;
    }
    EXPECT_NE(instrument_->Set("board.unknown", 1), "");
    EXPECT_NE(instrument_->Set("straps.pb1", 1), "");
    EXPECT_NE(instrument_->Set("board.rail.", 1), "");
    const json state = instrument_->State();
    EXPECT_EQ(state["board"]["plugged"], false);
    EXPECT_EQ(state["straps"]["pb8"]["level"], 1);
    EXPECT_EQ(state["power"]["level"], 40);
    EXPECT_EQ(state["storage"]["sd"]["present"], false);
    EXPECT_EQ(state["storage"]["usb"]["sticks"], 2);
    EXPECT_EQ(state["optics"]["seed"], 77);
    EXPECT_EQ(state["screen"]["width"], 1024);
}

TEST_F(WholeInstrument, NoiseThatWasChosenStaysWithAnotherModule) {
    const auto noise = [&] { return instrument_->State()["noise"]["seed"]; };
    const auto samples = [&] {
        const json optics = instrument_->State()["optics"];
        OpticsInput input = {};
        input.att0 = optics["att0_zero_code"];
        input.att1 = optics["att1_zero_code"];
        return instrument_->Inside().optics.Acquire(input, 64);
    };
    EXPECT_TRUE(noise().is_null());
    instrument_->Set("noise.seed", 7);
    instrument_->Set("module.seed", 5);
    const auto after = samples();
    instrument_->Set("noise.seed", 7);
    EXPECT_EQ(after, samples());
    EXPECT_EQ(noise(), 7);
    instrument_->Set("noise.seed", nullptr);
    EXPECT_TRUE(noise().is_null());
    const auto own = samples();
    EXPECT_NE(own, after);
    instrument_->Set("module.seed", 5);
    EXPECT_EQ(own, samples()) << "without a choice it is the module's own";
}

TEST_F(WholeInstrument, TheSmallPanelLastsUntilItsFaultIsCleared) {
    const auto screen = [&] { return instrument_->State()["screen"]; };
    instrument_->SetFault("screen.small", true);
    EXPECT_EQ(instrument_->Set("screen.size", json::array({1024, 600})), "");
    EXPECT_EQ(screen()["width"], 640);
    EXPECT_EQ(screen()["fitted"], json::array({1024, 600}));
    instrument_->SetFault("screen.small", false);
    EXPECT_EQ(screen()["width"], 1024);
}

TEST_F(WholeInstrument, ModuleWarmsAtItsRateUpToItsLimits) {
    instrument_->Set("module.temperature", 20);
    instrument_->Set("module.temperature_rate", 2);
    world_.now += 90000000;
    EXPECT_NEAR(instrument_->State()["optic"]["temperature"].get<double>(), 23.0, 1e-6);
    instrument_->Set("module.temperature_rate", 0);
    world_.now += 90000000;
    EXPECT_NEAR(instrument_->State()["optic"]["temperature"].get<double>(), 23.0, 1e-6);
    instrument_->Set("module.temperature_rate", 60);
    world_.now += 600000000;
    EXPECT_EQ(instrument_->State()["optic"]["temperature"], 85.0);
}

TEST_F(WholeInstrument, ARampEndsWhereItIsTold) {
    const auto module = [&] { return instrument_->State()["module"]; };
    const json up = {{"to", 30}, {"rate", 2}};
    for (const json& wrong :
         {json{{"to", 30}}, json{{"to", 300}, {"rate", 2}}, json{{"to", 30}, {"rate", -2}}})
        EXPECT_NE(instrument_->Set("module.temperature_rate", wrong), "") << wrong;
    EXPECT_EQ(instrument_->Set("module.temperature_rate", up), "");
    world_.now += 60 * kSecond;
    EXPECT_EQ(module(), json({{"temperature", 27.0}, {"temperature_rate", 2.0}, {"temperature_end", 30.0}}));
    EXPECT_EQ(instrument_->Set("module.temperature", 40), "") << "now it goes down";
    world_.now += 60 * kSecond;
    EXPECT_EQ(module()["temperature"], 38.0);
    world_.now += 600 * kSecond;
    EXPECT_EQ(module(), json({{"temperature", 30.0}, {"temperature_rate", 0}}));
    instrument_->Set("module.temperature_rate", 0);
    instrument_->Set("module.temperature", 20);
    world_.now += 60 * kSecond;
    EXPECT_EQ(module(), json({{"temperature", 20.0}, {"temperature_rate", 0.0}})) << "no ramp, no end";
}

TEST_F(WholeInstrument, TellsTheFibreAsItWasSet) {
    const json own = {{{"at", 700.0}, {"loss", 0.5}}, {{"at", 900.0}, {"loss", 0.0}, {"reflection", -40.0}}};
    EXPECT_EQ(instrument_->Set("optics.fibre", own), "");
    instrument_->SetFault("optics.fibre_longer", 3);  // not what stands on its label
    EXPECT_EQ(instrument_->State()["optics"]["fibre_events"], own);
}

TEST_F(WholeInstrument, EveryFaultIsDescribedSetAndCleared) {
    const std::map<std::string, json> values = {
        {"optic.register_stuck", {{"register", "0x3000002e"}, {"value", 5}}},
        {"module.eeprom_stuck", {{"address", 128}, {"value", 0}}},
        {"mainboard.eeprom_stuck",
         json::array({{{"address", 0}, {"value", 0}}, {{"address", 1}, {"value", 2}}})},
        {"module.eeprom_cut", 100},
        {"mainboard.eeprom_cut", {{"after", 0}, {"damage", "page"}}},
        {"bitmap.missing", "bg_desk.bmp"},
        {"bitmap.broken", json::array({"btn_back.bmp"})},
        {"module.eeprom_line", {{"data", 3}, {"level", 0}}},
        {"mainboard.eeprom_line",
         json::array({{{"address", 15}, {"level", 1}}, {{"data", 0}, {"level", 1}}})},
        {"mainboard.eeprom_worn", 3},
        {"optic.temperature_wrong", {{"frozen", 25}}},
        {"dac.wrong", json::array({{{"dac", "att0"}, {"offset", -0.05}}, {{"dac", "apd"}, {"gain", 0.9}}})},
        {"adc.wrong", {{"bit", 15}, {"level", 0}, {"missing", {1, 65535}}}},
        {"board.wrong", {{"offset", -0.1}, {"gain", 1.1}, {"noise", 3}}},
        {"optics.laser_weak", 3.5},
        {"optics.photodiode", {{"responsivity", 0.5}, {"leakage", 1e-6}, {"breakdown", 40}}},
        {"optics.receiver", {{"gain", 0.5}, {"noise", 3}, {"bandwidth", 0.2}, {"dead_channel", 6303}}},
        {"optics.fibre_bent", {{"at", 100}, {"loss", 3}}},
        {"optics.fibre_longer", -2},
        {"keypad.dead", "f1"},
        {"keypad.stuck", json::array({"f1", "18"})},
        {"keypad.swapped", json::array({"f1", "f2"})},
        {"keypad.knob", "reversed"},
        {"touch.offset", json::array({-3, 700})},
        {"touch.dead", {{"x", 0}, {"y", 100}, {"w", 800}, {"h", 50}}},
    };
    std::set<std::string> names;
    for (const auto& fault : Instrument::Faults()) {
        EXPECT_TRUE(names.insert(fault.name).second) << fault.name;
        EXPECT_STRNE(fault.what, "") << fault.name;
        EXPECT_STRNE(fault.operatorSees, "") << fault.name;
        const auto entry = values.find(fault.name);
        const json value = entry != values.end() ? entry->second : json(true);
        EXPECT_EQ(instrument_->FaultValue(fault.name), false) << fault.name;
        EXPECT_EQ(instrument_->SetFault(fault.name, value), "") << fault.name;
        EXPECT_EQ(instrument_->FaultValue(fault.name), value) << fault.name;
        EXPECT_NE(instrument_->SetFault(fault.name, json::object({{"nonsense", 1}})), "") << fault.name;
        EXPECT_EQ(instrument_->FaultValue(fault.name), value) << fault.name;
        EXPECT_EQ(instrument_->SetFault(fault.name, false), "") << fault.name;
        EXPECT_EQ(instrument_->FaultValue(fault.name), false) << fault.name;
    }
    EXPECT_EQ(instrument_->State()["faults"].size(), 0u);
    EXPECT_NE(instrument_->SetFault("no.such", true), "");
}

TEST_F(WholeInstrument, FaultsRefuseBadValuesAndSayWhatTheyTake) {
    const struct {
        const char* name;
        std::vector<json> wrong;
    } cases[] = {
        {"module.eeprom_line",
         {true,
          {{"data", 8}, {"level", 0}},
          {{"address", 16}, {"level", 0}},
          {{"data", 1}},
          {{"data", 1}, {"level", 2}},
          {{"data", 1}, {"address", 1}, {"level", 1}},
          json::array({{{"data", 1}, {"level", 1}}, 5})}},
        {"mainboard.eeprom_worn", {-1, 0.5, "soon"}},
        {"optic.temperature_wrong",
         {true, 10, {{"offset", "x"}}, {{"offset", 300}}, {{"offset", 1}, {"frozen", 1}}, {{"off", 1}}}},
        {"dac.wrong",
         {true,
          {{"dac", "att2"}, {"offset", 1}},
          {{"offset", 1}},
          {{"dac", "vdd"}},
          {{"dac", "vdd"}, {"offset", 3}},
          {{"dac", "vdd"}, {"gain", -1}},
          {{"dac", "vdd"}, {"bit", 3}},
          {{"dac", "vdd"}, {"bit", 12}, {"level", 0}},
          {{"dac", "vdd"}, {"bit", 0.5}, {"level", 0}},
          {{"dac", "vdd"}, {"missing", {1, 2}}},
          json::array({{{"dac", "vdd"}, {"gain", 0.5}}, 1})}},
        {"adc.wrong",
         {true,
          {{"offset", "x"}},
          {{"bit", 16}, {"level", 0}},
          {{"level", 0}},
          {{"missing", {5, 4}}},
          {{"missing", {0, 4}}},
          {{"missing", {1, 65536}}},
          {{"offset", 0.1}, {"missing", 7}},
          {{"dac", "vdd"}}}},
        {"optics.bad_connector",
         {"x", -1, 61, {{"loss", 1}}, {{"loss", 1}, {"reflection", 1}}, {{"loss", -1}, {"reflection", -20}}}},
        {"board.wrong",
         {true, 1, json::object(), {{"offset", 3}}, {{"gain", "x"}}, {{"noise", -1}}, {{"bit", 1}}}},
        {"optics.laser_weak", {true, -1, 100, "x"}},
        {"optics.laser_wavelength", {1490, "1310", json::array({1310})}},
        {"optics.photodiode",
         {true, {{"responsivity", 2}}, {{"leakage", -1}}, {{"breakdown", 5}}, {{"gain", 1}}, json::object()}},
        {"optics.receiver",
         {true,
          {{"gain", -1}},
          {{"noise", 101}},
          {{"bandwidth", 0}},
          {{"dead_channel", 6302}},
          {{"leakage", 1}}}},
        {"optics.fibre_bent",
         {true, 5, {{"at", 1}}, {{"loss", 1}}, {{"at", -1}, {"loss", 1}}, {{"at", 1}, {"loss", 61}}}},
        {"optics.fibre_longer", {true, "long", 1e6}},
        {"keypad.dead", {true, 3, "nokey", json::array(), json::array({"f1", "nokey"})}},
        {"keypad.stuck", {true, "19", json::array({1})}},
        {"keypad.swapped",
         {true, "f1", json::array({"f1"}), json::array({"f1", "f1"}), json::array({"f1", "f9"}),
          json::array({"f1", "f2", "f3"})}},
        {"keypad.knob", {"left", 1, json::array({"dead"})}},
        {"touch.offset", {true, 40, json::array({40}), json::array({0.5, 0}), json::array({0, 5000})}},
        {"touch.dead",
         {true,
          json::array({0, 0, 8, 8}),
          {{"x", 0}, {"y", 0}, {"w", 8}},
          {{"x", -1}, {"y", 0}, {"w", 8}, {"h", 8}},
          {{"x", 0.5}, {"y", 0}, {"w", 8}, {"h", 8}}}},
    };
    for (const auto& entry : cases)
        for (const json& value : entry.wrong) {
            EXPECT_THAT(instrument_->SetFault(entry.name, value), testing::HasSubstr(" take")) << value;
            EXPECT_EQ(instrument_->FaultValue(entry.name), false) << entry.name << " " << value;
        }
}

// Each changes, in the optics' own state, what it says, and nothing once it is cleared.
TEST_F(WholeInstrument, FaultsOfTheOpticsReachThem) {
    auto& parts = instrument_->Inside();
    parts.fpga.Configure();
    const std::pair<Register, std::uint16_t> setUp[] = {{kRegCurrent0, 0x6303}, {kRegCurrent1, 0x51},
                                                        {kRegAtt0, 1280},       {kRegAtt1, 1024},
                                                        {kRegVdd, 2064},        {kRegApd, 2000}};
    for (const auto& [index, value] : setUp)
        parts.fpga.Write(index, value);
    EXPECT_EQ(instrument_->Set("optics.fibre", "1 km"), "");
    const json before = instrument_->State();
    const struct {
        const char* fault;
        json value;
        const char *model, *state;
        double factor, shift;  // of what the state was
    } cases[] = {
        {"dac.wrong", {{"dac", "att0"}, {"offset", 0.05}}, "board", "att0", 1, 0.05},
        {"dac.wrong", {{"dac", "att1"}, {"bit", 10}, {"level", 0}}, "board", "att1", 1, -0.625},
        {"dac.wrong", {{"dac", "vdd"}, {"bit", 11}, {"level", 0}}, "board", "vdd", 1, -2048 * 1.5 / 1008},
        {"dac.wrong", {{"dac", "apd"}, {"offset", 0.05}}, "board", "apd", 1, 81.92 * 20 / 2067},
        {"dac.wrong", {{"dac", "apd"}, {"gain", 0.5}}, "board", "apd", 1, -1000 * 20.0 / 2067},
        {"dac.wrong", {{"dac", "att0"}, {"offset", 0.05}}, "optics", "dark_volts", 1, -0.03},
        {"optics.laser_weak", 10, "optics", "laser_watts", 0.1, 0},
        {"optics.photodiode",
         {{"breakdown", 40}},
         "optics",
         "breakdown_codes_per_degree",
         0,
         0.002 * 40 * 2067 / 20},
        {"optics.photodiode", {{"leakage", 5e-6}}, "optics", "apd_current", 1, 5e-6 - 5e-9},
        {"optics.fibre_longer", 250, "optics", "fibre_length", 1, 250},
        {"optics.fibre_longer", -5000, "optics", "fibre_length", 0, 0.1},
        {"optics.bad_connector", {{"loss", 2}, {"reflection", -14}}, "optics", "port_loss", 1, 2},
    };
    for (const auto& entry : cases) {
        SCOPED_TRACE(std::string(entry.fault) + " " + entry.value.dump() + " " + entry.state);
        const double was = before[entry.model][entry.state];
        const double expected = was * entry.factor + entry.shift;
        EXPECT_EQ(instrument_->SetFault(entry.fault, entry.value), "");
        // Supplies differ by 1 % between modules.
        EXPECT_NEAR(instrument_->State()[entry.model][entry.state].get<double>(), expected,
                    0.012 * std::fabs(expected - was) + 1e-12);
        EXPECT_EQ(instrument_->SetFault(entry.fault, false), "");
        EXPECT_EQ(instrument_->State(), before);
    }
    const std::pair<json, const char*> lit[] = {
        {true, "1310"}, {1310, "1310"}, {1550, "1550"}, {1625, "1625"}};
    for (const auto& [value, wavelength] : lit) {
        EXPECT_EQ(instrument_->SetFault("optics.laser_wavelength", value), "");
        EXPECT_EQ(instrument_->State()["optics"]["wavelength"], wavelength);
        EXPECT_EQ(instrument_->State()["optics"]["wavelength_code"], 1);
    }
    instrument_->SetFault("optics.laser_wavelength", false);
    EXPECT_EQ(instrument_->State(), before);
}

TEST_F(WholeInstrument, FaultsOfTheEepromsReachTheirCells) {
    const std::pair<const char*, EepromCells*> parts[] = {
        {"module", &instrument_->Inside().moduleEeprom.Cells()},
        {"mainboard", &instrument_->Inside().mainboardEeprom.Cells()}};
    for (const auto& [name, cells] : parts) {
        const auto fault = [&, part = std::string(name)](const char* what, const json& value) {
            EXPECT_EQ(instrument_->SetFault(part + what, value), "");
        };
        cells->Program(0, {0x0F, 0x0F}, 0);
        fault(".eeprom_line", {{"data", 3}, {"level", 0}});
        EXPECT_EQ(cells->Read(0), 0x07);
        fault(".eeprom_line", json::array({{{"data", 0}, {"level", 0}}, {{"data", 5}, {"level", 1}}}));
        EXPECT_EQ(cells->Read(0), 0x2E);
        fault(".eeprom_line", {{"address", 15}, {"level", 1}});
        EXPECT_EQ(cells->Read(0), 0xFF);
        fault(".eeprom_line", false);
        EXPECT_EQ(cells->Read(0), 0x0F);
        fault(".eeprom_worn", true);
        int weak = 0;
        cells->Program(0, std::vector<std::uint8_t>(128), 0);
        for (std::size_t at = 0; at < 128; ++at)
            weak += cells->Read(at) != 0;
        EXPECT_GT(weak, 0);
        fault(".eeprom_worn", 5);
        weak = 0;
        for (std::size_t at = 0; at < 128; ++at)
            weak += cells->Read(at) != 0;
        EXPECT_EQ(weak, 0);
    }
}

TEST_F(WholeInstrument, FaultsOfClockSensorAndImageReachThem) {
    auto& parts = instrument_->Inside();
    instrument_->SetFault("rtc.stopped", true);
    const std::int64_t stood = parts.rtc.Now();
    world_.now += 60000000;
    EXPECT_EQ(parts.rtc.Now(), stood);
    instrument_->SetFault("rtc.stopped", false);
    EXPECT_EQ(parts.rtc.Now(), stood + 60);

    Shell("insmod /lib/modules/2.6.30/drv_optic.ko");
    int error = 0;
    const auto optic = Open("/dev/optic0", error);
    std::int32_t milli = 0;
    const auto temperature = [&](const json& fault) {
        EXPECT_EQ(instrument_->SetFault("optic.temperature_wrong", fault), "");
        EXPECT_EQ(optic->Ioctl(OpticDriver::kTemperature, &milli), 0);
        return milli;
    };
    EXPECT_EQ(temperature({{"offset", -60}}), -35000);
    EXPECT_EQ(temperature({{"frozen", 12.5}}), 12500);
    EXPECT_EQ(temperature({{"offset", 1}}), 26000);  // frozen no more
    EXPECT_EQ(temperature(false), 25000);

    Shell("insmod /lib/modules/2.6.30/drv_fpga.ko");
    const auto load = [&] {
        const auto loader = Open("/dev/fpga0", error);
        std::uint32_t size = 1;
        loader->Ioctl(FpgaLoader::kBegin, &size);
        loader->Write("x", 1);
        loader->Ioctl(FpgaLoader::kEnd, nullptr);
        return parts.fpga.Configured();
    };
    instrument_->SetFault("fpga.image_wrong", true);
    EXPECT_FALSE(load());
    instrument_->SetFault("fpga.image_wrong", false);
    EXPECT_TRUE(load());
}

TEST_F(WholeInstrument, FaultsOfTheFrontPanelReachIt) {
    Shell("insmod /lib/modules/2.6.30/drv_keypad.ko");
    int error = 0;
    const auto keys = Open("/dev/keyb0", error), panel = Open("/dev/event2", error);
    std::uint32_t word = 0;
    const auto after = [&](const char* fault, const json& value, const auto& act) {
        EXPECT_EQ(instrument_->SetFault(fault, value), "") << fault;
        act();
        instrument_->SetFault(fault, false);
        word = 0;
        return keys->Read(&word, sizeof word) == 4 ? word & 0xFFu : 0u;
    };
    const auto press = [&] { instrument_->Key("f1", true), instrument_->Key("f1", false); };
    EXPECT_EQ(after("keypad.dead", json::array({"f1", "f2"}), press), 0u);
    EXPECT_EQ(after("keypad.swapped", json::array({"f1", "avg"}), press), 18u);
    keys->FlushInput();
    EXPECT_EQ(after("keypad.stuck", "avg", [] {}), 18u);
    keys->FlushInput();
    EXPECT_EQ(after("keypad.knob", true, [&] { instrument_->Knob(true), instrument_->Knob(false); }), 0u);
    EXPECT_EQ(after("keypad.knob", "clockwise dead", [&] { instrument_->Knob(true); }), 0u);
    EXPECT_EQ(after("keypad.knob", "anticlockwise dead", [&] { instrument_->Knob(false); }), 0u);
    EXPECT_EQ(after("keypad.knob", "reversed", [&] { instrument_->Knob(true); }), 17u);
    EXPECT_NE(word >> 24, 0u);
    instrument_->SetFault("touch.dead", {{"x", 0}, {"y", 0}, {"w", 10}, {"h", 480}});
    instrument_->SetFault("touch.offset", json::array({5, 6}));
    instrument_->Touch({{9, 20}});
    instrument_->Touch({{10, 20}});
    TouchRecord records[3] = {};
    ASSERT_EQ(panel->Read(records, sizeof records), static_cast<ssize_t>(sizeof records));
    EXPECT_EQ(records[1].value, 15);
    EXPECT_EQ(records[2].value, 26);
}

TEST_F(WholeInstrument, MissingNodesRefuseToOpen) {
    Shell("insmod /lib/modules/2.6.30/drv_keypad.ko");
    const struct {
        const char *fault, *node;
    } faults[] = {{"keypad.missing", "/dev/keyb0"},
                  {"touch.missing", "/dev/event2"},
                  {"power.missing", "/dev/p89lpc933_0"},
                  {"serial.missing", "/dev/ttyS0"}};
    for (const auto& entry : faults) {
        int error = 0;
        EXPECT_NE(Open(entry.node, error), nullptr);
        instrument_->SetFault(entry.fault, true);
        EXPECT_EQ(Open(entry.node, error), nullptr) << entry.node;
        EXPECT_EQ(error, ENOENT);
        EXPECT_FALSE(instrument_->Present(entry.node));
        instrument_->SetFault(entry.fault, 0);
        EXPECT_TRUE(instrument_->Present(entry.node));
    }
}

TEST_F(WholeInstrument, FaultsLieOverBenchSettings) {
    instrument_->SetFault("sd.missing", true);
    EXPECT_FALSE(Exists("/mnt/sdcard"));
    instrument_->Set("sd.present", true);
    EXPECT_FALSE(Exists("/mnt/sdcard"));
    instrument_->SetFault("sd.missing", false);
    EXPECT_TRUE(Exists("/mnt/sdcard"));

    instrument_->SetFault("usb.two", true);
    EXPECT_TRUE(Exists("/proc/scsi/usb-storage/1"));
    instrument_->SetFault("usb.two", nullptr);
    EXPECT_FALSE(Exists("/proc/scsi/usb-storage/1"));
    EXPECT_TRUE(Exists("/proc/scsi/usb-storage/0"));
    instrument_->SetFault("usb.missing", true);
    EXPECT_FALSE(Exists("/proc/scsi/usb-storage/0"));

    instrument_->Set("board.plugged", false);
    instrument_->SetFault("board.unplugged", true);
    instrument_->SetFault("board.unplugged", false);
    EXPECT_EQ(instrument_->State()["board"]["plugged"], false);
}

TEST_F(WholeInstrument, SpoiltFilesAreThoseThatTheFaultNames) {
    instrument_->SetFault("bitmap.missing", "bg_desk.bmp");
    EXPECT_FALSE(Exists("/app/fct/bitmap/bg_desk.bmp"));
    instrument_->SetFault("bitmap.missing", "btn_back.bmp");
    EXPECT_TRUE(Exists("/app/fct/bitmap/bg_desk.bmp"));
    EXPECT_FALSE(Exists("/app/fct/bitmap/btn_back.bmp"));
    EXPECT_NE(instrument_->SetFault("bitmap.missing", "../font/unicode.fnt"), "");
    EXPECT_EQ(instrument_->SetFault("bitmap.missing", true),
              "bitmap.missing takes a bitmap's name, or a list of names, not true");
    instrument_->SetFault("font.missing", true);
    EXPECT_FALSE(Exists("/app/fct/font/unicode.fnt"));
    instrument_->SetFault("font.missing", false);
    EXPECT_TRUE(Exists("/app/fct/font/unicode.fnt"));
}

TEST_F(WholeInstrument, StuckRegisterTakesAddressOrIndex) {
    auto& fpga = instrument_->Inside().fpga;
    fpga.Configure();
    for (const json& name : {json("0x3000000e"), json(0x3000000e), json(7), json("7")}) {
        EXPECT_EQ(instrument_->SetFault("optic.register_stuck", {{"register", name}, {"value", 99}}), "");
        EXPECT_EQ(fpga.Read(7), 99);
        instrument_->SetFault("optic.register_stuck", false);
        EXPECT_EQ(fpga.Read(7), 0);
    }
    for (const json& wrong : {json("7x"), json(""), json(-1), json("-1"), json(0x31000000u), json(1.5)})
        EXPECT_NE(instrument_->SetFault("optic.register_stuck", {{"register", wrong}, {"value", 1}}), "")
            << wrong;
}

TEST_F(WholeInstrument, StartFileAppliesBeforeTheFirstCall) {
    host::WriteFile(options_.stateDir + "/start.json",
                    R"({"set": {"module.temperature": 33}, "faults": {"screen.bgr565": true}})");
    Make();
    const json state = instrument_->State();
    EXPECT_EQ(state["optic"]["temperature"], 33.0);
    EXPECT_EQ(state["screen"]["layout"], "bgr565");
    for (const char* wrong : {"[]", "{", R"({"set": 1})", R"({"set": {"no.such": 1}})"}) {
        host::WriteFile(options_.stateDir + "/start.json", wrong);
        EXPECT_THROW(Make(), std::runtime_error) << wrong;
    }
}

TEST_F(WholeInstrument, RefusesAStateFolderThatCannotBeMade) {
    options_.stateDir = "/proc/k905";
    EXPECT_THROW(Make(), std::runtime_error);
    options_.stateDir = "";
    EXPECT_THROW(Make(), std::runtime_error);
}

TEST_F(WholeInstrument, PowerCutTakesBothEepromsAndIsTold) {
    int told = 0;
    options_.onPowerCut = [&] { ++told; };
    Make();
    ASSERT_EQ(instrument_->SetFault("module.eeprom_cut", {{"after", 3}, {"damage", "prefix"}}), "");
    auto& parts = instrument_->Inside();
    parts.mainboardEeprom.Cells().Program(0, std::vector<std::uint8_t>(100, 0), 0);
    world_.now = 2500;
    parts.moduleEeprom.Cells().Program(0, std::vector<std::uint8_t>(128, 0), world_.now);
    EXPECT_EQ(told, 1);
    EXPECT_TRUE(instrument_->PowerLost());
    Make();  // power comes back
    EXPECT_FALSE(instrument_->PowerLost());
    auto& after = instrument_->Inside();
    EXPECT_EQ(after.moduleEeprom.Cells().Read(2), 0);
    EXPECT_EQ(after.moduleEeprom.Cells().Read(3), 0xFF);
    EXPECT_EQ(after.mainboardEeprom.Cells().Read(49), 0);
    EXPECT_EQ(after.mainboardEeprom.Cells().Read(50), 0xFF);
}

TEST_F(WholeInstrument, InputReachesTheDevices) {
    Shell("insmod /lib/modules/2.6.30/drv_keypad.ko");
    int error = 0;
    const auto keys = Open("/dev/keyb0", error), panel = Open("/dev/event2", error);
    EXPECT_EQ(instrument_->Key("enter", true), "");
    EXPECT_NE(instrument_->Key("enter", true), "");
    instrument_->Knob(false);
    instrument_->Touch({{10, 20}});
    std::uint32_t word = 0;
    ASSERT_EQ(keys->Read(&word, 4), 4);
    EXPECT_EQ(word & 0xFF, 13u);
    ASSERT_EQ(keys->Read(&word, 4), 4);
    EXPECT_NE(word & 0x0F000000, 0u);
    TouchRecord record = {};
    ASSERT_EQ(panel->Read(&record, sizeof record), 16);
    EXPECT_EQ(record.code, 330);
}

TEST_F(WholeInstrument, SameSeedGivesTheSameInstrument) {
    const json one = instrument_->State();
    Make();
    EXPECT_EQ(instrument_->State(), one);
    options_.seed = 2;
    Make();
    EXPECT_NE(instrument_->State()["board"], one["board"]);
}

}  // namespace k905
