#include "device/serial_link.h"

#include <errno.h>
#include <sys/select.h>

#include "tests/device/unit/instrument_fixture.h"

namespace {

std::string Bytes(std::initializer_list<int> values) {
    std::string bytes;
    for (int value : values)
        bytes += static_cast<char>(value);
    return bytes;
}

class SerialLink : public test::InstrumentTest {
  protected:
    // Opens the port anew, its calls forgotten.
    void OpenPort() {
        serialFD = -1;
        ASSERT_EQ(0, SerialInit());
        system_.Clear();
    }

    // The operator's lines and the system's calls in one sequence.
    void FollowOperator() {
        operator_.onLine = [this](const std::string& line) { system_.Note("> " + line); };
    }

    const std::string connectReply_ = Bytes({6, 7, 0, 0, 0, 0, 0});
    const std::string oneVolt_ = Bytes({6, ADC_CHANEL_T70, 0x3f, 0x80, 0, 0, 0});
};

const char* const kOpening =
    "open /dev/ttyS0 rw noctty\n"
    "tcgetattr ttyS0\n"
    "tcflush ttyS0 input\n"
    "tcsetattr ttyS0 now iflag 0x5 oflag 0x0 cflag 0x18b2 lflag 0x0 cc 4:4 5:10 6:7\n"
    "fcntl ttyS0 setfl 0\n";
const char* const kClosing =
    "tcsetattr ttyS0 now iflag 0x500 oflag 0x0 cflag 0x0 lflag 0x0 cc\n"
    "close ttyS0\n";
const char* const kConnectRequest = "write ttyS0 02 07 23\ntcdrain ttyS0\n";
const char* const kReceive = "wait ttyS0 5.000000\nsleep 25\nread ttyS0 20\n";

}  // namespace

TEST_F(SerialLink, SettingsAreRawEightBit) {
    termios settings;
    memset(&settings, 0xff, sizeof(settings));
    SetTermios(&settings, B9600);
    EXPECT_EQ(5u, settings.c_iflag);
    EXPECT_EQ(0u, settings.c_oflag);
    EXPECT_EQ(0u, settings.c_lflag);
    EXPECT_EQ(0x8b0u | B9600, settings.c_cflag);
    for (int i = 0; i < NCCS; ++i)
        EXPECT_EQ(i == VEOF ? 4 : i == VTIME ? 10 : i == VMIN ? 7 : 0, settings.c_cc[i]) << i;
    SetTermios(nullptr, B9600);
}

TEST_F(SerialLink, OpensThePortInItsOrder) {
    EXPECT_EQ(0, SerialInit());
    EXPECT_EQ(kOpening, system_.Trace());
    EXPECT_NE(-1, serialFD);
}

TEST_F(SerialLink, RefusesToOpenTwice) {
    OpenPort();
    EXPECT_EQ(-13, SerialInit());
    EXPECT_EQ("", system_.Trace());
}

TEST_F(SerialLink, PortThatDoesNotOpenStaysClosed) {
    system_.Fail("open /dev/ttyS0", ENOENT);
    EXPECT_EQ(-3, SerialInit());
    EXPECT_EQ(-1, serialFD);
    EXPECT_EQ("open /dev/ttyS0 rw noctty\n", system_.Trace());
}

TEST_F(SerialLink, MeasuresAChannel) {
    OpenPort();
    system_.replies = {Bytes({6, ADC_CHANEL_T70, 0x42, 0x34, 0, 0x01, 0x99})};
    float value = 0;
    EXPECT_EQ(0, OPMGetAdcValue(ADC_CHANEL_T70, ADCRANGE_2560MV, &value));
    EXPECT_EQ(45.0f + 1.0f / 262144.0f, value);
    EXPECT_EQ(std::string("write ttyS0 04 02 03 07 23\ntcdrain ttyS0\n") + kReceive, system_.Trace());
}

TEST_F(SerialLink, MeasuresAFixtureChannel) {
    OpenPort();
    system_.replies = {Bytes({6, ADC_FGND, 0xbf, 0x80, 0, 0, 0})};
    float value = 0;
    EXPECT_EQ(0, OPMGetZhijuAdcValue(ADC_FGND, ADCRANGE_20MV, &value, nullptr, GET_ZHIJU_ADC_VALUE, 6));
    EXPECT_EQ(-1.0f, value);
    EXPECT_EQ("write ttyS0 04 08 21 00 23\n", system_.Trace("write"));
}

TEST_F(SerialLink, MeasuresAPulseWidth) {
    OpenPort();
    system_.replies = {Bytes({10, ADC_TP2, 0x3f, 0x80, 0, 0, 0x01, 0x02, 0x03, 0xf4, 0})};
    float value = 0;
    uint32_t width = 0;
    EXPECT_EQ(0, OPMGetZhijuAdcValue(ADC_TP2, ADCRANGE_2560MV, &value, &width, GET_Pulse_Width, 10));
    EXPECT_EQ(1.0f, value);
    EXPECT_EQ(0x010203f4u, width);
    EXPECT_EQ("write ttyS0 04 09 25 07 23\n", system_.Trace("write"));
}

TEST_F(SerialLink, PulseWidthThatIsNotAnnouncedIsNotStored) {
    OpenPort();
    system_.replies = {Bytes({6, ADC_TP2, 0x3f, 0x80, 0, 0, 1, 2, 3, 4, 0})};
    float value = 0;
    uint32_t width = 77;
    EXPECT_EQ(0, OPMGetZhijuAdcValue(ADC_TP2, ADCRANGE_2560MV, &value, &width, GET_Pulse_Width, 10));
    EXPECT_EQ(1.0f, value);
    EXPECT_EQ(77u, width);
}

TEST_F(SerialLink, WidthWithNoPlaceToGoIsDropped) {
    OpenPort();
    system_.replies = {Bytes({10, ADC_TP2, 0x3f, 0x80, 0, 0, 1})};
    float value = 0;
    EXPECT_EQ(0, OPMGetZhijuAdcValue(ADC_TP2, ADCRANGE_2560MV, &value, nullptr, GET_ZHIJU_ADC_VALUE, 6));
    EXPECT_EQ(1.0f, value);
}

TEST_F(SerialLink, OldBytesOfALongReplyDoNotLeakIntoAShortOne) {
    OpenPort();
    float value = 0;
    uint32_t width = 0;
    system_.replies = {Bytes({10, ADC_TP2, 0, 0, 0, 0, 9, 9, 9, 9, 9}), Bytes({10, ADC_TP2, 0, 0, 0, 0, 1})};
    OPMGetZhijuAdcValue(ADC_TP2, ADCRANGE_2560MV, &value, &width, GET_Pulse_Width, 10);
    EXPECT_EQ(0, OPMGetZhijuAdcValue(ADC_TP2, ADCRANGE_2560MV, &value, &width, GET_ZHIJU_ADC_VALUE, 6));
    EXPECT_EQ(0x01000000u, width);
}

TEST_F(SerialLink, WrongRepliesHaveTheirCodesAndLeaveTheValue) {
    OpenPort();
    const std::string other = Bytes({6, ADC_CHANEL_TP1, 0x3f, 0x80, 0, 0, 0});
    const struct {
        std::string reply;
        int32_t code;
    } cases[] = {
        {other, -11},
        {oneVolt_.substr(0, 6), -9},
        {oneVolt_ + "x", -9},
        {other.substr(0, 6), -9},
        {std::string(64, '\xff'), -9},
        {"", -9},
    };
    for (const auto& one : cases) {
        system_.replies = {one.reply};
        float value = 99.99999f;
        EXPECT_EQ(one.code, OPMGetAdcValue(ADC_CHANEL_T70, ADCRANGE_2560MV, &value));
        EXPECT_EQ(99.99999f, value);
    }
    system_.replies = {Bytes({10, ADC_TP3, 0x3f, 0x80, 0, 0, 1, 2, 3, 4, 0})};
    float value = 99.99999f;
    uint32_t width = 77;
    EXPECT_EQ(-11, OPMGetZhijuAdcValue(ADC_TP2, ADCRANGE_2560MV, &value, &width, GET_Pulse_Width, 10));
    EXPECT_EQ(99.99999f, value);
    EXPECT_EQ(77u, width);
}

TEST_F(SerialLink, SilenceIsATimeOut) {
    OpenPort();
    float value = 99.99999f;
    EXPECT_EQ(-2, OPMGetAdcValue(ADC_CHANEL_T70, ADCRANGE_2560MV, &value));
    EXPECT_EQ("wait ttyS0 5.000000\n", system_.Trace("wait"));
    EXPECT_EQ("", system_.Trace("read"));
    system_.Fail("wait", EINTR);
    EXPECT_EQ(-2, OPMGetAdcValue(ADC_CHANEL_T70, ADCRANGE_2560MV, &value));
    EXPECT_EQ(99.99999f, value);
}

TEST_F(SerialLink, WaitsAgainWhenThePortIsNotMarkedReadable) {
    OpenPort();
    // The first wait answers 1 with nothing marked, the second one times out.
    system_.Return("wait", 1, 1);
    float value = 0;
    EXPECT_EQ(-2, OPMGetAdcValue(ADC_CHANEL_T70, ADCRANGE_2560MV, &value));
    EXPECT_EQ("wait ttyS0 5.000000\nwait ttyS0 5.000000\n", system_.Trace("wait"));
}

TEST_F(SerialLink, MicrosecondsOfTheTimeOutStayAsTheWaitLeftThem) {
    SerialInit();
    system_.leftMicroseconds = 250000;
    float value = 0;
    system_.replies = {oneVolt_, oneVolt_};
    OPMGetAdcValue(ADC_CHANEL_T70, ADCRANGE_2560MV, &value);
    OPMGetAdcValue(ADC_CHANEL_T70, ADCRANGE_2560MV, &value);
    EXPECT_EQ("wait ttyS0 5.000000\nwait ttyS0 5.250000\n", system_.Trace("wait"));
}

TEST_F(SerialLink, OpeningThePortStartsFromAWholeTimeOut) {
    SerialInit();
    system_.leftMicroseconds = 250000;
    system_.replies = {oneVolt_};
    float value = 0;
    OPMGetAdcValue(ADC_CHANEL_T70, ADCRANGE_2560MV, &value);
    OpenPort();
    OPMGetAdcValue(ADC_CHANEL_T70, ADCRANGE_2560MV, &value);
    EXPECT_EQ("wait ttyS0 5.000000\n", system_.Trace("wait"));
}

TEST_F(SerialLink, OnlyThePortIsWatched) {
    float value = 0;
    for (int port = 0; port < 2; ++port) {
        OpenPort();  // with another descriptor each time
        system_.replies = {oneVolt_};
        EXPECT_EQ(0, OPMGetAdcValue(ADC_CHANEL_T70, ADCRANGE_2560MV, &value));
        EXPECT_EQ("wait ttyS0 5.000000\n", system_.Trace("wait"));
    }
}

TEST_F(SerialLink, ClosedPortFailsAtTheSend) {
    float value = 5;
    uint32_t width = 6;
    EXPECT_EQ(-12, OPMGetAdcValue(ADC_CHANEL_T70, ADCRANGE_2560MV, &value));
    EXPECT_EQ(-12, OPMGetZhijuAdcValue(ADC_TP2, ADCRANGE_2560MV, &value, &width, GET_Pulse_Width, 10));
    EXPECT_EQ(-12, OPMSetDacChnnel(VOLTAGE_1, ADCRANGE_2560MV));
    EXPECT_EQ("", system_.Trace());
    EXPECT_EQ(5.0f, value);
    EXPECT_EQ(6u, width);
}

TEST_F(SerialLink, FailedWriteHasItsCode) {
    OpenPort();
    system_.Fail("write ttyS0", EIO);
    float value = 0;
    EXPECT_EQ(-12, OPMGetAdcValue(ADC_CHANEL_T70, ADCRANGE_2560MV, &value));
    EXPECT_EQ(-12, OPMSetDacChnnel(CHANNEL_6300, ADCRANGE_2560MV));
    EXPECT_EQ("", system_.Trace("wait"));
}

TEST_F(SerialLink, SwitchingCommandsAwaitNothing) {
    OpenPort();
    EXPECT_EQ(4, OPMSetDacChnnel(VOLTAGE_1, ADCRANGE_2560MV));
    EXPECT_EQ(4, OPMSetDacChnnel(CHANNEL_6307, ADCRANGE_2560MV));
    EXPECT_EQ("write ttyS0 03 0d 07 23\ntcdrain ttyS0\nwrite ttyS0 03 12 07 23\ntcdrain ttyS0\n",
              system_.Trace());
}

TEST_F(SerialLink, ReceivingNeverPassesTheCallersRoom) {
    OpenPort();
    uint8_t room[8];
    memset(room, 0xee, sizeof(room));
    system_.replies = {std::string(40, 'z')};
    EXPECT_EQ(-9, SerialRecvData(room, 4, 6));
    EXPECT_EQ("read ttyS0 4\n", system_.Trace("read"));
    EXPECT_EQ('z', room[3]);
    EXPECT_EQ(0xee, room[4]);
    uint8_t large[64];
    memset(large, 0xee, sizeof(large));
    system_.replies = {std::string(64, 'z')};
    EXPECT_EQ(-9, SerialRecvData(large, 64, 6));
    EXPECT_EQ('z', large[19]);
    EXPECT_EQ(0, large[20]);
    EXPECT_EQ(0, large[63]);
}

TEST_F(SerialLink, BadArgumentsAndDescriptorsAreRefused) {
    uint8_t data[20] = {};
    EXPECT_EQ(-2, SerialRecvData(data, 20, 6));
    serialFD = FD_SETSIZE;
    EXPECT_EQ(-2, SerialRecvData(data, 20, 6));
    serialFD = -1;
    OpenPort();
    EXPECT_EQ(-9, SerialRecvData(nullptr, 20, 6));
    EXPECT_EQ(-9, SerialRecvData(data, -1, 6));
    EXPECT_EQ(-1, SerialSendData(nullptr, 3));
    EXPECT_EQ(-1, SerialSendData(data, -1));
    EXPECT_EQ(-1, OPMGetAdcValue(ADC_CHANEL_T70, ADCRANGE_2560MV, nullptr));
    EXPECT_EQ("", system_.Trace());
}

TEST_F(SerialLink, ConnectsAtTheFirstAnswer) {
    FollowOperator();
    system_.replies = {connectReply_};
    const void* status = SerialInitThd(nullptr);
    ASSERT_NE(nullptr, status);
    EXPECT_EQ(0, *static_cast<const int32_t*>(status));
    EXPECT_EQ(std::string(kOpening) + kConnectRequest + kReceive + "> adjust: Connect to aduc848 board!\n",
              system_.Trace());
    EXPECT_EQ(1, OPMGUIShare.usIsConnect);
    EXPECT_NE(-1, serialFD);
}

TEST_F(SerialLink, GivesUpAfterThreeSilences) {
    FollowOperator();
    SerialInitThd(nullptr);
    const std::string silence = "wait ttyS0 5.000000\n> adjust: Read Serial Time Out.\nsleep 50\n";
    EXPECT_EQ(std::string(kOpening) + kConnectRequest + silence + kConnectRequest + silence +
                  kConnectRequest + silence + kClosing + "> adjust: Can not connect to aduc848 board!\n",
              system_.Trace());
    EXPECT_EQ(0, OPMGUIShare.usIsConnect);
    EXPECT_EQ(-1, serialFD);
    EXPECT_EQ(std::vector<std::string>{"optic0"}, system_.OpenNames());
}

TEST_F(SerialLink, PassesOverAnotherEchoInSilence) {
    FollowOperator();
    const std::string other = Bytes({6, 8, 0, 0, 0, 0, 0});
    system_.replies = {other, Bytes({6, 7}), connectReply_};
    SerialInitThd(nullptr);
    EXPECT_EQ(std::string(kOpening) + kConnectRequest + kReceive + "sleep 50\n" + kConnectRequest + kReceive +
                  "> adjust: Receive Data Length Error.\nsleep 50\n" + kConnectRequest + kReceive +
                  "> adjust: Connect to aduc848 board!\n",
              system_.Trace());
    EXPECT_EQ(1, OPMGUIShare.usIsConnect);
}

TEST_F(SerialLink, ASecondPressCloses) {
    system_.replies = {connectReply_};
    SerialInitThd(nullptr);
    system_.Clear();
    operator_.Clear();
    SerialInitThd(nullptr);
    EXPECT_EQ(kClosing, system_.Trace());
    EXPECT_EQ(std::vector<std::string>{"adjust: Close serial port!"}, operator_.Lines());
    EXPECT_EQ(0, OPMGUIShare.usIsConnect);
    EXPECT_EQ(-1, serialFD);
}

TEST_F(SerialLink, LinkMarkedAsConnectedIsNotAskedAgain) {
    OPMGUIShare.usIsConnect = 1;
    SerialInitThd(nullptr);
    EXPECT_EQ(kOpening, system_.Trace());
    EXPECT_TRUE(operator_.Lines().empty());
    EXPECT_NE(-1, serialFD);
    EXPECT_EQ(0, MutexTrylock(&OPMGUIShare.mutex));
    MutexUnlock(&OPMGUIShare.mutex);
}

TEST_F(SerialLink, ARequestThatCannotBeSentStillWaitsForItsAnswer) {
    system_.Fail("write ttyS0", EIO);
    SerialInitThd(nullptr);
    EXPECT_EQ("write ttyS0 02 07 23\nwrite ttyS0 02 07 23\nwrite ttyS0 02 07 23\n", system_.Trace("write"));
    EXPECT_EQ("", system_.Trace("tcdrain"));
    EXPECT_EQ("wait ttyS0 5.000000\nwait ttyS0 5.000000\nwait ttyS0 5.000000\n", system_.Trace("wait"));
    EXPECT_EQ("adjust: Can not connect to aduc848 board!", operator_.Lines().back());
}

TEST_F(SerialLink, EachToggleReportsToItsScreen) {
    const struct {
        void* (*toggle)(void*);
        std::string line;
    } screens[] = {{SerialInitThd, "adjust"}, {SerialInitThd1, "opm"}, {SerialInitThd2, "mainboard"}};
    for (const auto& screen : screens) {
        operator_.Clear();
        system_.Fail("open /dev/ttyS0", ENOENT, 0, 1);
        screen.toggle(nullptr);
        screen.toggle(nullptr);
        system_.replies = {connectReply_};
        screen.toggle(nullptr);
        screen.toggle(nullptr);
        const std::vector<std::string> lines = {
            screen.line + ": Open Serial Failed.",
            screen.line + ": Read Serial Time Out.",
            screen.line + ": Read Serial Time Out.",
            screen.line + ": Read Serial Time Out.",
            screen.line + ": Can not connect to aduc848 board!",
            screen.line + ": Connect to aduc848 board!",
            screen.line + ": Close serial port!",
        };
        EXPECT_EQ(lines, operator_.Lines());
    }
}

TEST_F(SerialLink, TheShareIsLockedForTheWholeHandshakeAndFreeAfterwards) {
    // What a second thread would find while the operator is told something.
    std::vector<int> whileReporting;
    operator_.onLine = [&](const std::string&) {
        whileReporting.push_back(MutexTrylock(&OPMGUIShare.mutex));
        if (whileReporting.back() == 0)
            MutexUnlock(&OPMGUIShare.mutex);
    };
    // Silence three times and the giving up, all within the handshake.
    SerialInitThd(nullptr);
    EXPECT_EQ(std::vector<int>(4, EBUSY), whileReporting);
    EXPECT_EQ(0, MutexTrylock(&OPMGUIShare.mutex));
    MutexUnlock(&OPMGUIShare.mutex);
    // The success too; closing tells after the share is free again.
    whileReporting.clear();
    system_.replies = {connectReply_};
    SerialInitThd(nullptr);
    SerialInitThd(nullptr);
    EXPECT_EQ((std::vector<int>{EBUSY, 0}), whileReporting);
    EXPECT_EQ(0, MutexTrylock(&OPMGUIShare.mutex));
    MutexUnlock(&OPMGUIShare.mutex);
}

TEST_F(SerialLink, CodesOnTheWire) {
    const CommandList commands[] = {
        START_ADC,           STOP_ADC,        GET_ADC_VALUE,     WRITE_PGA112,
        READ_PGA112,         TP70_VREF,       GET_ALL_ADC_VALUE, CONNECT,
        GET_ZHIJU_ADC_VALUE, GET_Pulse_Width, GET_ADC_VALUE_FCT, GET_Pulse_Width_TP5,
        ADC_CHECK,           VOLTAGE_1,       VOLTAGE_0,         CHANNEL_6300,
        CHANNEL_6301,        CHANNEL_6303,    CHANNEL_6307};
    const AdcChanel channels[] = {ADC_CHANEL_TP5,
                                  ADC_CHANEL_TP6,
                                  ADC_CHANEL_TP15,
                                  ADC_CHANEL_T70,
                                  ADC_CHANEL_VREF,
                                  ADC_CHANEL_GND1,
                                  ADC_CHANEL_TP1,
                                  ADC_CHANEL_TP2,
                                  ADC_CHANEL_TP3,
                                  ADC_CHANEL_TP4,
                                  ADC_CHANEL_GND2,
                                  ADC_CHANEL_TP70_VREF,
                                  ADC_VSYS_TP97,
                                  ADC_VSYS_1V8_TP103,
                                  ADC_VSYSIO_3V3_TP109,
                                  ADC_ARM_1V0_TP105,
                                  ADC_VSYS_5V_TP107,
                                  ADC_OPM_PWR_5V_TP113,
                                  ADC_FPGA_CORE_1V2_TP100,
                                  ADC_ADC_3V_TP99,
                                  ADC_MCU_3V3_TP127,
                                  ADC_OPM_7V_TP111,
                                  ADC_VSYSIO_SD_3V3_TP24,
                                  ADC_5V_A0,
                                  ADC_5V_A1,
                                  ADC_5V_A2,
                                  ADC_3_3V_A_TP14,
                                  ADC_7V_A_TP12,
                                  ADC_OPM_7V_TP114,
                                  ADC_F5V_A0,
                                  ADC_F5V_A1,
                                  ADC_F5V_A2,
                                  ADC_F5V_A3,
                                  ADC_FGND,
                                  ADC_F5V_APD,
                                  ADC_F6_5V_A_TP13,
                                  ADC_TP1_0,
                                  ADC_TP2,
                                  ADC_TP3,
                                  ADC_TP4,
                                  ADC_TP1_7,
                                  ADC_TP1_3,
                                  ADC_TP1_1};
    const AdcRange ranges[] = {ADCRANGE_20MV,  ADCRANGE_40MV,  ADCRANGE_80MV,   ADCRANGE_160MV,
                               ADCRANGE_320MV, ADCRANGE_640MV, ADCRANGE_1280MV, ADCRANGE_2560MV};
    int code = 0;
    for (CommandList command : commands)
        EXPECT_EQ(code++, command);
    EXPECT_EQ(19, code);
    code = 0;
    for (AdcChanel channel : channels)
        EXPECT_EQ(code++, channel);
    EXPECT_EQ(43, code);  // which is no channel
    EXPECT_EQ(44, ADC_CHECK_0);
    code = 0;
    for (AdcRange range : ranges)
        EXPECT_EQ(code++, range);
    EXPECT_EQ(8, code);
}
