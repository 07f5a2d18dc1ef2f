// The measurement board's channels: which supply rail or test point each one sees, and its nominal reading in
// volts at the board's input (the fixture divides every supply to about 1 V).
#pragma once

#include <cstddef>
#include <cstdint>

namespace k905 {

struct BoardRail {
    std::uint8_t channel;
    const char* name;  // test point
    double nominal;    // volts as reported
};

constexpr BoardRail kBoardRails[] = {
    {0, "TP5", 1.0000},     {1, "TP6", 1.0000},     {4, "VREF", 2.5000},     {5, "GND1", 0.0},
    {6, "TP1", 1.2500},     {7, "TP2", 1.0000},     {10, "GND2", 0.0},       {11, "TP70_VREF", 2.5000},
    {12, "TP97", 1.0727},   {13, "TP103", 1.0237},  {14, "TP109", 1.0551},   {15, "TP105", 1.0000},
    {16, "TP107", 1.0349},  {17, "TP113", 1.0349},  {18, "TP100", 1.0033},   {19, "TP99", 1.0133},
    {20, "TP57", 1.0551},   {21, "TP111", 1.0375},  {22, "TP24", 1.0551},    {23, "5V_A0", 1.0375},
    {24, "TP36", 1.0375},   {25, "5V_A2", 1.0375},  {26, "TP68", 1.0375},    {27, "TP12", 1.0375},
    {28, "TP114", 1.0375},  {29, "F5V_A0", 1.0375}, {30, "F5V_A1", 1.0375},  {31, "F5V_A2", 1.0375},
    {32, "F5V_A3", 1.0375}, {33, "FGND", 0.0},      {34, "F5V_APD", 1.0375}, {35, "TP13", 1.0375},
};
constexpr std::size_t kBoardRailCount = sizeof kBoardRails / sizeof kBoardRails[0];

// Channels whose reading the optical module makes.
constexpr std::uint8_t kChannelVdd = 2, kChannelApd = 3, kChannelAtt0 = 8, kChannelAtt1 = 9;
// Pulse width channels.
constexpr std::uint8_t kChannelPulseFirst = 36, kChannelPulseLast = 42;

}  // namespace k905
