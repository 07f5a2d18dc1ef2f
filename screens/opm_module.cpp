// Checks of the optical module itself: its EEPROM and its temperature.
#include <stdio.h>

#include "device/Opm.h"
#include "device/common_opt.h"
#include "screens/eeprom_test_page.h"
#include "screens/opm_check.h"

int EepromFlag = 0;

int32_t OpmEepromCheck() {
    static const REG_STEP RestStep[] = {{FPGA_CTRLOUT_REG, CTRLOUT_REST, 0}};
    const int32_t iResult = WriteEepromTestPage();
    fpga_init(cFpgaFileName);
    RunRegSequence(opticFD, RestStep);
    return iResult;
}

void ShowOpmEepromCheck() {
    const bool bPass = OpmEepromCheck() == 0;
    EepromFlag = bPass;
    OpmShowResult(RESULT_MODULE, bPass ? "Eeprom Check OK!" : "Eeprom Check Error!", bPass);
}

void ShowOpmTemperature() {
    float fCurTemp = 0.0f;
    GetOpmTemperature(opticFD, &fCurTemp);
    printf("fCurTemp = %f\n", static_cast<double>(fCurTemp));
    char strLine[64] = "";
    snprintf(strLine, sizeof(strLine), "Temperature = %f", static_cast<double>(fCurTemp));
    OpmShowResult(RESULT_MODULE, strLine, true);
}
