// The test page that the EEPROM checks of the main board and the OPM test screen write.
#pragma once

#include <stdint.h>

// Writes the bytes 0 to 127 to page 1 of the optical module's EEPROM, where the store keeps a copy of its
// module record, and verifies them. Codes of eeprom_write_check.
int32_t WriteEepromTestPage();
