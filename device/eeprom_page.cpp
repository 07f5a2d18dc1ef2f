#include <stdarg.h>
#include <stdio.h>
#include <string.h>

#include "device/eeprom_internal.h"
#include "device/i2c_com.h"
#include "device/operator_report.h"
#include "gui/guibase.h"

namespace {

constexpr int kAddressWidth = 2;            // bytes of a memory address on the bus
constexpr unsigned long kWriteCycle = 100;  // ms; the part takes 5 at most (data sheet)
constexpr int kTries = 10;

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

int32_t eeprom_write_check(uint16_t usPage, const uint8_t* pData) {
    if (pData == nullptr)
        return -1;
    AT24C512_Startup();
    if (check_eeprom_status() != 0)
        return EEPROM_NO_RESPONSE;
    int iTry = 0;
    while (iTry < kTries && eeprom_write_page(usPage, pData) != 0)
        ++iTry;
    if (iTry == kTries) {
        EepromReport("1.write check failed, write eeprom_page_off:%d \r\n", usPage);
        return EEPROM_MISMATCH;
    }
    if (check_eeprom_status() != 0)
        return EEPROM_NO_RESPONSE;
    uint8_t ucBack[EEPROM_PAGE_SIZE] = {};
    iTry = 0;
    while (iTry < kTries && eeprom_read_page(usPage, ucBack) != 0)
        ++iTry;
    if (iTry == kTries) {
        EepromReport("3. write check failed, read back PageNum:%d \r\n", usPage);
        return EEPROM_MISMATCH;
    }
    return memcmp(ucBack, pData, EEPROM_PAGE_SIZE) == 0 ? 0 : EEPROM_MISMATCH;
}
