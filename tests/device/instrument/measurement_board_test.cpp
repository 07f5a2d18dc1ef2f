#include "tests/device/instrument/device_fixture.h"
#include "tests/support/golden_text.h"

namespace {

class MeasurementBoardLink : public test::DeviceTest {
  protected:
    void Connect() {
        SerialInitThd(nullptr);
        ASSERT_EQ(1, OPMGUIShare.usIsConnect);
        operator_.Clear();
        linked_->ClearTrace();
    }
};

}  // namespace

TEST_F(MeasurementBoardLink, EachScreenConnectsAndDisconnects) {
    const struct {
        void* (*toggle)(void*);
        std::string line;
    } screens[] = {{SerialInitThd, "adjust"}, {SerialInitThd1, "opm"}, {SerialInitThd2, "mainboard"}};
    for (const auto& screen : screens) {
        operator_.Clear();
        screen.toggle(nullptr);
        EXPECT_EQ(1, OPMGUIShare.usIsConnect);
        EXPECT_THAT(linked_->OpenPaths(), testing::ElementsAre("/dev/ttyS0"));
        screen.toggle(nullptr);
        EXPECT_EQ(0, OPMGUIShare.usIsConnect);
        EXPECT_TRUE(linked_->OpenPaths().empty());
        EXPECT_THAT(operator_.Lines(), testing::ElementsAre(screen.line + ": Connect to aduc848 board!",
                                                            screen.line + ": Close serial port!"));
    }
}

TEST_F(MeasurementBoardLink, FramesOfAConversation) {
    SerialInitThd(nullptr);
    Set("board.rail.TP97", 1.25);
    float value = 0;
    EXPECT_EQ(0,
              OPMGetZhijuAdcValue(ADC_VSYS_TP97, ADCRANGE_2560MV, &value, nullptr, GET_ZHIJU_ADC_VALUE, 6));
    EXPECT_NEAR(1.25f, value, 0.01f);
    EXPECT_EQ(4, OPMSetDacChnnel(VOLTAGE_0, ADCRANGE_2560MV));
    const std::vector<std::string> lines = linked_->TraceLines({"serial"});
    ASSERT_EQ(5u, lines.size());
    EXPECT_EQ("serial tx 02 07 23", lines[0]);
    EXPECT_THAT(lines[1], testing::StartsWith("serial rx 06 07"));
    EXPECT_EQ("serial tx 04 08 0c 07 23", lines[2]);
    EXPECT_THAT(lines[3], testing::StartsWith("serial rx 06 0c 3f"));
    EXPECT_EQ("serial tx 03 0e 07 23", lines[4]);
}

TEST_F(MeasurementBoardLink, ConnectingAndDisconnecting) {
    SerialInitThd(nullptr);
    SerialInitThd(nullptr);
    EXPECT_TRUE(test::MatchesGoldenText(Trace(), "traces/serial_connect"));
}

TEST_F(MeasurementBoardLink, ConnectingToABoardThatEchoesAnotherCommand) {
    Fault("board.wrong_channel");
    SerialInitThd(nullptr);
    EXPECT_TRUE(test::MatchesGoldenText(Trace(), "traces/serial_connect_wrong_echo"));
}

TEST_F(MeasurementBoardLink, PulseWidthsComeWithTheirVoltage) {
    StartUp();
    Connect();
    float value = 99.99999f;
    uint32_t width = 12345678;
    EXPECT_EQ(0, OPMGetZhijuAdcValue(ADC_TP2, ADCRANGE_2560MV, &value, &width, GET_Pulse_Width, 10));
    EXPECT_NE(99.99999f, value);
    EXPECT_NE(12345678u, width);
}

TEST_F(MeasurementBoardLink, WithoutTheBoardConnectingTakesThreeTimeOuts) {
    Set("board.plugged", false);
    const k905::Micros before = linked_->Now();
    SerialInitThd(nullptr);
    EXPECT_TRUE(test::MatchesGoldenText(Trace(), "traces/serial_connect_no_board"));
    const k905::Micros taken = linked_->Now() - before;
    EXPECT_GE(taken, 15150000);
    EXPECT_LT(taken, 15300000);
    EXPECT_THAT(
        operator_.Lines(),
        testing::ElementsAre("adjust: Read Serial Time Out.", "adjust: Read Serial Time Out.",
                             "adjust: Read Serial Time Out.", "adjust: Can not connect to aduc848 board!"));
    EXPECT_TRUE(linked_->OpenPaths().empty());
}

TEST_F(MeasurementBoardLink, MissingPortIsTold) {
    Fault("serial.missing");
    SerialInitThd2(nullptr);
    EXPECT_THAT(operator_.Lines(), testing::ElementsAre("mainboard: Open Serial Failed."));
}

TEST_F(MeasurementBoardLink, FaultyRepliesHaveTheirCodes) {
    const struct {
        const char* fault;
        int32_t code;
    } faults[] = {{"board.reply_short", -9}, {"board.wrong_channel", -11}, {"board.reply_late", -2}};
    for (const auto& one : faults) {
        Connect();
        Fault(one.fault);
        float value = 99.99999f;
        EXPECT_EQ(one.code, OPMGetAdcValue(ADC_CHANEL_TP15, ADCRANGE_2560MV, &value)) << one.fault;
        EXPECT_EQ(99.99999f, value);
        Fault(one.fault, false);
        SerialInitThd(nullptr);
    }
}

TEST_F(MeasurementBoardLink, GarbageIsJudgedByItsLengthAndItsChannel) {
    Connect();
    Fault("board.garbage");
    const std::string head = "serial rx ";
    for (int i = 0; i < 200; ++i) {
        linked_->ClearTrace();
        float value = 99.99999f;
        const int32_t code = OPMGetAdcValue(ADC_CHANEL_TP15, ADCRANGE_2560MV, &value);
        const std::vector<std::string> lines = linked_->TraceLines({"serial"});
        ASSERT_EQ(2u, lines.size());
        const std::string reply = lines[1].substr(head.size());  // "xx xx ..."
        const bool whole = reply.size() == 7 * 3 - 1;
        const int32_t expected = !whole ? -9 : reply.compare(3, 2, "02") == 0 ? 0 : -11;
        EXPECT_EQ(expected, code) << reply;
        EXPECT_EQ(code != 0, value == 99.99999f) << reply;
    }
}
