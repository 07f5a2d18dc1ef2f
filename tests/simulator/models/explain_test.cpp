// What the lines of the hardware trace are said to mean.
#include "simulator/models/explain.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "simulator/models/register_names.h"

namespace k905 {
namespace {

TEST(ExplainTrace, TellsRegistersWithFieldsAndUnits) {
    const auto means = [](const std::string& line) { return ExplainTrace(line, ""); };
    EXPECT_EQ("control_out visible_light=1 sda=0 scl=1 protect=0", means("reg write 0x30000002 0x0011"));
    EXPECT_EQ("current0 front_amplifier=6307 resistor=2", means("reg write 0x3000000a 0x0207"));
    EXPECT_EQ("current1 driver=1 pulses=0 shortest=0 wavelength=1550nm",
              means("reg write 0x3000000c 0x0041"));
    EXPECT_EQ("vdd 3.000 V", means("reg write 0x30000012 0x0810"));
    EXPECT_EQ("apd 45.000 V", means("reg read 0x30000014 -> 0x09c3"));
    EXPECT_EQ("att0 0.781 V", means("reg write 0x3000000e 0x0500 failed"));
    EXPECT_EQ("period 25.0 us", means("reg write 0x30000020 0x00fa"));
    EXPECT_EQ("phase[31]", means("reg write 0x30000072 0x1234"));
    EXPECT_EQ("acquire start=0 transfer=0 ready=1 finished=1", means("reg read 0x3000002e -> 0x00a0"));
    EXPECT_EQ("", means("reg write 0x300000f0 0x1234"));
    EXPECT_EQ("", means("reg read 0x30000014 failed"));
    EXPECT_EQ("", means("sleep 10 ms"));
}

TEST(ExplainTrace, DecodesTheMeasurementBoardsFrames) {
    const auto asks = [](const std::string& line) { return ExplainTrace(line, ""); };
    EXPECT_EQ("connect", asks("serial tx 02 07 23"));
    EXPECT_EQ("read TP97", asks("serial tx 04 08 0c 07 23"));
    EXPECT_EQ("read VDD", asks("serial tx 04 02 02 07 23"));
    EXPECT_EQ("pulse width of channel 36", asks("serial tx 04 09 24 07 23"));
    EXPECT_EQ("test signal to channel 6303", asks("serial tx 03 11 07 23"));
    EXPECT_EQ("", asks("serial tx 03 63 07 23"));
    EXPECT_EQ("", asks("serial tx 09 02"));

    EXPECT_EQ("read TP97 -> 1.0665 V",
              ExplainTrace("serial rx 06 0c 3f 88 82 f0 00", "serial tx 04 08 0c 07 23"));
    EXPECT_EQ("read TP97 -> TP103 1.0665 V",
              ExplainTrace("serial rx 06 0d 3f 88 82 f0 00", "serial tx 04 08 0c 07 23"));
    EXPECT_EQ("connect -> connected", ExplainTrace("serial rx 06 07 00 00 00 00 00", "serial tx 02 07 23"));
    EXPECT_EQ("TP2 -> 0.0000 V", ExplainTrace("serial rx 06 07 00 00 00 00 00", ""));
    EXPECT_EQ("pulse width of channel 36 -> 0.3500 V, 21 counts",
              ExplainTrace("serial rx 0a 24 3e b3 33 33 00 00 00 15 00", "serial tx 04 09 24 07 23"));
    EXPECT_EQ("read TP97 -> not a whole reply",
              ExplainTrace("serial rx 06 0c 3f 88 82 f0", "serial tx 04 08 0c 07 23"));
    EXPECT_EQ("not a whole reply", ExplainTrace("serial rx 55 55", ""));
}

TEST(RegisterNames, AreFoundByNameAndAddress) {
    EXPECT_EQ(kRegSpeakerTone, FindRegister("0x30000084"));
    EXPECT_EQ(kRegSpeakerTone, FindRegister("speaker_tone"));
    EXPECT_EQ(kRegPhaseTable + 3, FindRegister("phase[3]"));
    for (const char* wrong : {"", "0x30000085", "0x2ffffffe", "0x30000100", "phase", "0x", "speaker_tone "})
        EXPECT_FALSE(FindRegister(wrong)) << wrong;
    EXPECT_EQ(kRegSpeakerTone, FindRegister(0x30000084));
    EXPECT_EQ(kRegVdd, FindRegister(kRegVdd)) << "an index";
    for (const nlohmann::json& wrong :
         {nlohmann::json(-1), nlohmann::json(1.5), nlohmann::json(), nlohmann::json(128)})
        EXPECT_FALSE(FindRegister(wrong)) << wrong;
}

}  // namespace
}  // namespace k905
