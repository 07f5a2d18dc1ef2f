// The signal channels of the receiver chain: a DAC of the measurement board drives the chain with two levels,
// and the converter must see which one it is.
#include <stdio.h>

#include "device/common_opt.h"
#include "measure/acquisition.h"
#include "measure/adjust.h"
#include "screens/opm_check.h"
#include "screens/wnd_global.h"

constexpr unsigned LOAD_MS = 200;
constexpr unsigned COMMAND_MS = 10;
constexpr unsigned ROUND_MS = 100;
constexpr int ROUNDS = 10;
constexpr int CHANNEL_SAMPLES = 10;
constexpr int ADC_MIDDLE = 50000;  // codes
constexpr ACQ_TIMING ChannelTiming = {0, 10, 0, 10};

constexpr CommandList NO_COMMAND = START_ADC;

struct SIGNAL_CHANNEL {
    OPM_RESULT_LINE Line;
    int iName;  // as in the texts
    const char* pVerdictEnd;
    CommandList Channel;
    uint16_t usGain;        // low bits: the front amplifier's code
    CommandList Close;      // sent after the last round
    CommandList CloseThen;  // and then this, unless NO_COMMAND
};

static const SIGNAL_CHANNEL Channel6300 = {RESULT_6300, 6300,      " ",       CHANNEL_6300,
                                           0x6000,      VOLTAGE_0, NO_COMMAND};
static const SIGNAL_CHANNEL Channel6301 = {RESULT_6301, 6301,      "",        CHANNEL_6301,
                                           0x6001,      VOLTAGE_0, NO_COMMAND};
static const SIGNAL_CHANNEL Channel6303 = {RESULT_6303, 6303,      "",        CHANNEL_6303,
                                           0x6003,      VOLTAGE_1, NO_COMMAND};
static const SIGNAL_CHANNEL Channel6307 = {RESULT_6307, 6307,      "",          CHANNEL_6307,
                                           0x6007,      VOLTAGE_0, CHANNEL_6300};

bool ChannelRoundPasses(int iDac, int iAdc) {
    return iDac == 0 ? iAdc <= ADC_MIDDLE : iAdc >= ADC_MIDDLE;
}

static void SendCommand(CommandList Command) {
    OPMSetDacChnnel(Command, ADCRANGE_2560MV);
}

static void SetUpChannel(const SIGNAL_CHANNEL& Channel) {
    const REG_STEP steps[] = {
        {FPGA_CTRLOUT_REG, CTRLOUT_REST, 10},
        {OPM_CTRL0_REG, Channel.usGain, 10},
        {OPM_CTRL1_REG, 0x140, 10},
        {OPM_ACQ_30_REG, 8, 10},
        {OPM_ACQ_32_REG, 32, 10},
        {OPM_ACQ_24_REG, 0, 1},
        {OPM_ACQ_22_REG, 0, 1},
        {OPM_ACQ_1A_REG, 16, 1},
        {OPM_ACQ_1C_REG, 0, 1},
        {OPM_ACQ_1E_REG, 1, 1},
        {OPM_ACQ_20_REG, 1024, 1},
    };
    RunRegSequence(opticFD, steps);
    SendCommand(Channel.Channel);
    SendCommand(VOLTAGE_0);
    MsecSleep(COMMAND_MS);
}

// Mean of one acquisition, truncated, or -1 when there is none.
static int MeasureAdc() {
    uint16_t usSamples[CHANNEL_SAMPLES] = {};
    if (AcquireSamples(ChannelTiming, checkWait, usSamples, CHANNEL_SAMPLES) != 0)
        return -1;
    usSamples[0] = usSamples[1];
    int iSum = 0;
    for (const uint16_t usSample : usSamples)
        iSum += usSample;
    return iSum / CHANNEL_SAMPLES;
}

// Shows the round's line. Returns false when the round fails.
static bool RunRound(const SIGNAL_CHANNEL& Channel, int iTime) {
    const int iDac = iTime % 2 == 1 ? 0 : 1;
    SendCommand(iDac == 0 ? VOLTAGE_1 : VOLTAGE_0);
    MsecSleep(COMMAND_MS);
    const int iAdc = MeasureAdc();
    if (iAdc < 0 || !ChannelRoundPasses(iDac, iAdc))
        return false;
    char strLine[80] = "";
    snprintf(strLine, sizeof(strLine), "%dchannel: DAC = %d  ADC = %d, time = %d ", Channel.iName, iDac, iAdc,
             iTime);
    OpmShowResult(Channel.Line, strLine, true);
    EndAcquisition();
    return true;
}

static void ShowVerdict(const SIGNAL_CHANNEL& Channel, bool bPass) {
    SendCommand(Channel.Close);
    if (Channel.CloseThen != NO_COMMAND)
        SendCommand(Channel.CloseThen);
    char strLine[40] = "";
    snprintf(strLine, sizeof(strLine), "%dchannel: %s!!!%s", Channel.iName, bPass ? "success" : "fail",
             Channel.pVerdictEnd);
    OpmShowResult(Channel.Line, strLine, bPass);
}

static int32_t RunRounds(const SIGNAL_CHANNEL& Channel) {
    bool bPass = true;
    SetUpChannel(Channel);
    for (int iTime = ROUNDS; iTime > 0 && bPass; --iTime) {
        bPass = RunRound(Channel, iTime);
        if (bPass && WaitUnlessExit(ROUND_MS) != 0)
            return -1;
    }
    ShowVerdict(Channel, bPass);
    return 0;
}

static int32_t LoadFpga() {
    fpga_init(cFpgaFileName);
    return WaitUnlessExit(LOAD_MS);
}

static int32_t RunChannel(const SIGNAL_CHANNEL& Channel) {
    return LoadFpga() == 0 ? RunRounds(Channel) : -1;
}

// Brings the attenuator offsets to zero, or tells that they cannot be.
static int32_t AdjustAttenuators() {
    static const struct {
        int32_t (*fnAdjust)(OTDRWaveLen waveLen);
        const char* pNotice;
        const char* pFailure;
    } Steps[] = {
        {OPMFCTAdjustAtt0, "Adjust Att0......", "Adjust Att0 fail!!! Signal chain test failure!!!"},
        {OPMFCTAdjustAtt1, "Adjust Att1......", "Adjust Att1 fail!!! Signal chain test failure!!!"},
    };
    for (const auto& Step : Steps) {
        OpmShowResult(RESULT_6300, Step.pNotice, true);
        if (Step.fnAdjust(WAVE_LEN_1310) < 0) {
            OpmShowResult(RESULT_6300, Step.pFailure, false);
            return -1;
        }
        if (WaitUnlessExit(0) != 0)
            return -1;
    }
    OpmShowResult(RESULT_6300, "Adjust Att0&Att1 success......", true);
    return 0;
}

int32_t ChnnelMode1() {
    if (LoadFpga() != 0 || AdjustAttenuators() != 0)
        return -1;
    return RunRounds(Channel6300);
}

int32_t ChnnelMode2() {
    return RunChannel(Channel6301);
}

int32_t ChnnelMode3() {
    return RunChannel(Channel6303);
}

int32_t ChnnelMode4() {
    return RunChannel(Channel6307);
}
