#include <string.h>

#include "device/eeprom_internal.h"
#include "device/i2c_com.h"

namespace {

constexpr int kTries = 10;

}  // namespace

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
