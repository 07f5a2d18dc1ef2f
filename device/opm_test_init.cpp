#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include "device/Opm.h"
#include "device/common_opt.h"
#include "gui/guibase.h"
#include "measure/numeric/numeric.h"

signed char adBuffer[AD_BUFFER_SIZE];
float adcValue1 = 0.0f;

// A module that is there already makes insmod fail, which does not matter.
static void InsertModule(const char* pCommand) {
    (void)!system(pCommand);
}

static void PrintTemperature() {
    float fTemperature = 0.0f;
    GetOpmTemperature(opticFD, &fTemperature);
    char* pText = reinterpret_cast<char*>(adBuffer);
    snprintf(pText, sizeof(adBuffer), "Temperature =%f", static_cast<double>(fTemperature));
    printf("%s", pText);
}

constexpr uint16_t VDD_START = 2064;
constexpr uint32_t CTRL1_START = 0x40;

// First values of the analog chain. The shadow of control register 1 stays at its first value, 0x50.
static void SetAnalogChain() {
    OPMSetApd(432);
    OPMSetVdd(VDD_START);
    OPMSetApdBias(1536);

    static const REG_STEP ControlSteps[] = {
        {OPM_CTRL0_REG, 0x6000, 0},
        {OPM_CTRL1_REG, 0x50, 500},
        {OPM_CTRL1_REG, CTRL1_START, 0},
    };
    CurrCtrl0 = 0x6000;
    CurrCtrl1 = 0x50;
    RunRegSequence(opticFD, ControlSteps);

    OPMSetFrontAmp(FrontAmpCode[0]);
    OPMSetResistorAmp(ResistorCode[0]);
    OPMSetAtt0(1280);
    OPMSetAtt1(1024);

    static const REG_STEP OutputSteps[] = {
        {FPGA_CTRLOUT_REG, REG_READ, 0},
        {FPGA_CTRLOUT_REG, CTRLOUT_REST, 0},
    };
    RunRegSequence(opticFD, OutputSteps);
}

int32_t OPMTestInit() {
    InsertModule("insmod /lib/modules/2.6.30/drv_fpga.ko");
    MsecSleep(100);
    GetFpgaVersion();
    fpga_init(cFpgaFileName);
    InsertModule("insmod /lib/modules/2.6.30/drv_keypad.ko");
    InsertModule("insmod /lib/modules/2.6.30/drv_optic.ko");

    opticFD = open("/dev/optic0", O_RDWR | O_CLOEXEC);
    if (opticFD < 0) {
        printf("open optic failed");
        return OPM_ERR_DEV_OPEN;
    }
    GetOpmTunning();
    PrintTemperature();
    SetAnalogChain();

    // The link is normally still closed here: both requests then fail quietly.
    OPMGetAdcValue(ADC_CHANEL_TP1, ADCRANGE_2560MV, &adcValue1);
    MsecSleep(1000);
    OPMGetAdcValue(ADC_CHANEL_TP1, ADCRANGE_2560MV, &adcValue1);

    static const REG_STEP LastStep[] = {{OPM_ACQ_32_REG, 0, 10}};
    const int32_t iRet = RunRegSequence(opticFD, LastStep);
    OPMSetPhase();
    MsecSleep(10);
    LogTableCreat();
    return iRet;
}

// Tried again when it fails: neither a signal that wakes sleepers nor a driver that fails once may keep a
// voltage up.
static void WriteSurely(uint32_t uiAddr, uint32_t uiValue) {
    constexpr int TRIES = 100;
    uint32_t uiWritten = uiValue;
    for (int i = 0; i < TRIES && write_opt_reg(opticFD, uiAddr, &uiWritten) != 0; ++i)
        uiWritten = uiValue;
}

void OPMTestEnd() {
    // The high voltage first.
    static const struct {
        uint32_t uiAddr;
        uint32_t uiValue;
    } SafeValues[] = {
        {OPM_APD_REG, APD_REST_CODE},
        {OPM_VDD_REG, VDD_START},
        {OPM_CTRL1_REG, CTRL1_START},
        {FPGA_CTRLOUT_REG, CTRLOUT_REST},
    };
    if (opticFD < 0)
        return;
    for (const auto& Safe : SafeValues)
        WriteSurely(Safe.uiAddr, Safe.uiValue);
    close(opticFD);
    opticFD = -1;
}
