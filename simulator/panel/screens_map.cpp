#include "simulator/panel/screens_map.h"

#include <stdexcept>

namespace k905 {

namespace {

// Function buttons of the test screens are 105 x 53: (corner) -> a point in the middle.
constexpr Control Button(const char* screen, const char* name, int x, int y) {
    return {screen, name, x + 52, y + 26};
}

}  // namespace

const std::vector<Control>& Controls() {
    static const std::vector<Control> controls = {
        {"start", "Opticl_FCT", 540, 210},
        {"start", "MainBoard_FCT", 240, 210},
        Button("mainboard", "Voltage Check", 600, 35),
        {"mainboard", "ADC", 625, 121},  // left of the empty button that overlaps it from 650 on
        Button("mainboard", "Arm Eeprom", 435, 155),
        Button("mainboard", "Key Check", 435, 215),
        Button("mainboard", "Speaker Check", 435, 275),
        Button("mainboard", "USB Check", 435, 335),
        Button("mainboard", "Connect", 435, 64),
        Button("mainboard", "FPGA DDR", 555, 155),
        Button("mainboard", "Visible Check", 555, 215),
        Button("mainboard", "battery voltage", 555, 275),
        Button("mainboard", "RTC", 555, 335),
        Button("mainboard", "SDcard Check", 555, 395),
        Button("mainboard", "Auto", 675, 395),
        {"mainboard", "Back", 680, 466},
        {"keycheck", "Back", 680, 466},
        {"menu", "OPM_Adjust", 390, 160},
        {"menu", "OPT_Adjust", 590, 160},
        {"menu", "OPM_FCT", 190, 160},
        {"menu", "APD_Adjust", 190, 310},
        {"menu", "E2PROM", 390, 310},
        {"menu", "Back", 680, 466},
        Button("opm_fct", "Connect", 450, 35),
        Button("opm_fct", "Voltage Check", 600, 35),
        Button("opm_fct", "Signal chain", 600, 95),
        Button("opm_fct", "Eeprom Check", 600, 155),
        Button("opm_fct", "Temperature", 600, 215),
        {"opm_fct", "Back", 680, 466},
        Button("opm_adjust", "Connect", 450, 64),
        Button("opm_adjust", "Apd", 600, 64),
        Button("opm_adjust", "Vdd", 600, 124),
        Button("opm_adjust", "Att0", 600, 184),
        Button("opm_adjust", "Att1", 600, 244),
        {"opm_adjust", "Back", 680, 466},
        Button("optcheck", "Opt check", 500, 64),
        Button("optcheck", "Dev adjust", 500, 224),
        {"optcheck", "Back", 680, 466},
        Button("apd_adjust", "Start", 690, 95),
        Button("apd_adjust", "Stop", 690, 155),
        Button("apd_adjust", "E2PROM", 690, 215),
        {"apd_adjust", "Back", 680, 466},
        {"e2prom", "Back", 680, 466},
    };
    return controls;
}

const std::vector<KeyPicture>& KeyPictures() {
    static const std::vector<KeyPicture> pictures = {
        {"menu", 0, "Menu", {30, 50, 120, 60}, {20, 60, 100, 50}},
        {"f1", 0, "F1", {30, 150, 120, 60}, {20, 160, 100, 50}},
        {"f2", 0, "F2", {30, 250, 120, 60}, {20, 260, 100, 50}},
        {"f3", 0, "F3", {30, 350, 120, 60}, {20, 360, 100, 50}},
        {"f4", 0, "F4", {140, 50, 120, 60}, {130, 60, 100, 50}},
        {"f5", 0, "F5", {140, 150, 120, 60}, {130, 160, 100, 50}},
        {"esc", 0, "Esc", {140, 250, 120, 60}, {130, 260, 100, 50}},
        {"file", 0, "File", {140, 350, 120, 60}, {130, 360, 100, 50}},
        {"scale", 0, "Scale", {280, 50, 120, 60}, {270, 60, 100, 50}},
        {"setup", 0, "Setup", {400, 50, 120, 60}, {390, 60, 100, 50}},
        {"up", 0, "Up", {355, 130, 70, 70}, {340, 140, 80, 50}},
        {"left", 0, "Left", {285, 200, 70, 70}, {268, 208, 80, 50}},
        {"enter", 0, "Enter", {355, 200, 70, 70}, {340, 208, 80, 50}},
        {"right", 0, "Right", {425, 200, 70, 70}, {410, 208, 80, 50}},
        {"down", 0, "Down", {355, 275, 70, 70}, {340, 284, 80, 50}},
        {"realt", 0, "Realt", {280, 350, 120, 60}, {270, 360, 100, 50}},
        {"knob", 0, "Knob", {620, 200, 70, 70}, {605, 208, 80, 50}},
        {"avg", 0, "Avg", {400, 350, 120, 60}, {390, 360, 100, 50}},
        {nullptr, 1, "Clock", {690, 200, 70, 70}, {675, 208, 80, 50}},
        {nullptr, -1, "Anti", {550, 200, 70, 70}, {535, 208, 80, 50}},
    };
    return pictures;
}

const Control& FindControl(const std::string& screen, const std::string& name) {
    for (const Control& control : Controls())
        if (screen == control.screen && name == control.name)
            return control;
    throw std::out_of_range("no control '" + name + "' is known on the screen '" + screen + "'");
}

}  // namespace k905
