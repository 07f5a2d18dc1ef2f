#include "screens/mainboard_check.h"

MAINBOARD_RESULT MainBoardResult = {};

void MainBoardShowSummary() {
    static const char* const AdcTexts[] = {"ADC Check not OK!", "ADC Check OK!",
                                           "ADC Check ERROR, Maybe not connect!"};
    const MAINBOARD_RESULT& Result = MainBoardResult;
    const struct {
        bool bPass;
        const char* pPassText;
        const char* pFailText;
    } Lines[] = {
        {Result.ValFlag == MAINBOARD_POINTS, "Voltage Check OK!", "Voltage Check ERROR!"},
        {Result.EepromFlag == 1, "Arm Eeprom Check OK!", "Arm Eeprom Check ERROR!"},
        {Result.UsbFlag == 1, "Usb Check OK!", "Usb Check ERROR!"},
        {Result.DdrFlag == 1, "FPGA DDR Check OK!", "FPGA DDR Check ERROR!"},
        {Result.AdcFlag == ADC_FLAG_PASS, AdcTexts[Result.AdcFlag], AdcTexts[Result.AdcFlag]},
        {Result.SDcardFlag == 1, "SDcard Check OK!", "SDcard Check ERROR!"},
    };
    MainBoardClearResult();
    int iLine = 0;
    for (const auto& Line : Lines)
        MainBoardShowLine(iLine++, Line.bPass ? Line.pPassText : Line.pFailText, Line.bPass);
}
