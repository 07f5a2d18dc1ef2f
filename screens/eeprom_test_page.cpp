#include "screens/eeprom_test_page.h"

#include "device/eeprom.h"

constexpr uint16_t TEST_PAGE = 1;

int32_t WriteEepromTestPage() {
    uint8_t ucPage[EEPROM_PAGE_SIZE] = {};
    for (uint8_t i = 0; i < EEPROM_PAGE_SIZE; ++i)
        ucPage[i] = i;
    return eeprom_write_check(TEST_PAGE, ucPage);
}
