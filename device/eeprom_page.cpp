#include <stdarg.h>
#include <stdio.h>

#include "device/eeprom_internal.h"
#include "device/i2c_com.h"
#include "device/operator_report.h"
#include "gui/guibase.h"

namespace {

constexpr int kAddressWidth = 2;            // bytes of a memory address on the bus
constexpr unsigned long kWriteCycle = 100;  // ms; the part takes 5 at most (data sheet)

void Show(bool bPrint, const char* strFormat, va_list arguments) {
    char strText[160] = "";
    vsnprintf(strText, sizeof(strText), strFormat, arguments);
    FrmAdjustSetInfo(strText);
    if (bPrint)
        printf("%s", strText);
}

}  // namespace

void EepromReport(const char* strFormat, ...) {
    va_list arguments;
    va_start(arguments, strFormat);
    Show(false, strFormat, arguments);
    va_end(arguments);
}

void EepromReportAndPrint(const char* strFormat, ...) {
    va_list arguments;
    va_start(arguments, strFormat);
    Show(true, strFormat, arguments);
    va_end(arguments);
}

void SelectEeprom() {
    I2C_Action = AT24C512_I2C_Action;
}

int32_t eeprom_read_page(uint16_t usPage, uint8_t* pData) {
    if (pData == nullptr)
        return -1;
    SelectEeprom();
    I2C_ReadREG(kAddressWidth, static_cast<uint16_t>(usPage * EEPROM_PAGE_SIZE), pData, EEPROM_PAGE_SIZE);
    return 0;
}

int32_t eeprom_write_page(uint16_t usPage, const uint8_t* pData) {
    if (pData == nullptr)
        return -1;
    SelectEeprom();
    I2C_WriteREG(kAddressWidth, static_cast<uint16_t>(usPage * EEPROM_PAGE_SIZE), pData, EEPROM_PAGE_SIZE);
    return 0;
}

int32_t check_eeprom_status() {
    MsecSleepWhole(kWriteCycle);
    return 0;
}

int32_t eeprom_polling() {
    return 1;
}
