// What is checked on the screens, and how a person reads what came of it.
#pragma once

#include <string>
#include <vector>

#include "simulator/interpose/screen_text.h"

namespace k905::soak {

enum class Screen { kStart, kMainBoard, kKeys, kMenu, kTest, kAdjust, kOptical, kApd, kRecord, kCount };
constexpr int kScreens = static_cast<int>(Screen::kCount);

const char* NameOf(Screen screen);

enum class Check {
    kConnect,
    kVoltages,
    kAdc,
    kArmEeprom,
    kUsb,
    kDdr,
    kBattery,
    kClock,
    kCard,
    kKeys,
    kModuleVoltages,
    kSignalChain,
    kModuleEeprom,
    kTemperature,
    kApd,
    kVdd,
    kAtt0,
    kAtt1,
    kLightPath,
    kOffset,
    kApdSearch,
    kRecord,
    kCount
};

// A verdict on the screen: it passed when all of `pass` stand there. A text that begins with | begins its
// line.
struct Reading {
    Check check;
    std::vector<const char*> pass;
    double low = 0, high = 0;   // of the number behind the first text, where there are limits
    int top = 0, bottom = 480;  // rows of the screen that it stands in
};

// Something to do on a screen.
struct Work {
    Screen screen;
    const char* control;
    std::vector<Reading> readings;  // none: nothing is judged
    int usualMs;                    // it may show nothing new for so long while it runs, on a good instrument
    int worstMs;                    // the same on a bad one
    int lastsMs;                    // how long it takes on a good instrument
    unsigned weight;                // how often it is chosen beside the others of its screen
};

const std::vector<Work>& Works();

bool Passed(const Reading& reading, const std::vector<TextRun>& runs);

}  // namespace k905::soak
