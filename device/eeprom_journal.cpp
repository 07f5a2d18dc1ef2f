#include <string.h>

#include "device/crc32.h"
#include "device/eeprom_internal.h"
#include "device/i2c_com.h"

uint8_t buffer_id = 0;
static buffer_part pendingSlot = {};
buffer_part* pvalid_buffer = &pendingSlot;

namespace {

constexpr int kAddressWidth = 2;
constexpr uint16_t kJournalPage = BUFF_BASE_ADDR / EEPROM_PAGE_SIZE;
constexpr uint16_t kFirstSysparaPage = SYSPARA_BASE_ADDR / EEPROM_PAGE_SIZE;
constexpr uint16_t kFirstCrcPage = CRC_BASE_ADDR / EEPROM_PAGE_SIZE;

uint32_t Seal(const buffer_part& buffer) {
    return crc32c(reinterpret_cast<const uint8_t*>(&buffer), offsetof(buffer_part, reserved));
}

bool SlotDamaged(unsigned uiSlot) {
    return (valid_module.buff_err >> uiSlot & 1U) != 0;
}

uint16_t StateAddr(uint32_t uiBase, unsigned uiSlot) {
    return static_cast<uint16_t>(uiBase + sizeof(buffer_part) * uiSlot + offsetof(buffer_part, state));
}

// Writes both pages of a slot. Returns the first code that is not 0.
int32_t WriteSlot(const buffer_part& buffer) {
    const uint16_t usPage = static_cast<uint16_t>(kJournalPage + 2 * buffer_id);
    const uint8_t* pBytes = reinterpret_cast<const uint8_t*>(&buffer);
    const int32_t iResult = eeprom_write_check(usPage, pBytes);
    if (iResult != 0)
        return iResult;
    EepromReport("%s: Enter with buffer_state = 0x%x .\r\n", "buffer_valid", buffer.state);
    return eeprom_write_check(static_cast<uint16_t>(usPage + 1), pBytes + EEPROM_PAGE_SIZE);
}

// A checksum page: back to its place in the checksum partition in use.
void RecoverCrcPage(const buffer_part& buffer) {
    EepromReport("%s: crc recover.\r\n", "power_dowm_recovery");
    const unsigned uiPage = (buffer.page_addr - kFirstCrcPage) % CRC_PAGE_COUNT;
    memcpy(&valid_crc.crc_data[uiPage], &buffer.buff_data, EEPROM_PAGE_SIZE);
    crc_update(static_cast<uint16_t>(CRC_PER_PAGE * uiPage), 1, &valid_crc);
}

// A parameter page: to its place, and its checksum with it. A page outside the partition in use has none, nor
// has any page when there is no such partition: -1 is shown.
void RecoverSysparaPage(const buffer_part& buffer) {
    EepromReport("%s: syspara recover.\r\n", "power_dowm_recovery");
    EepromReport("%s: page_addr=%d\r\n", "power_dowm_recovery", buffer.page_addr);
    eeprom_write_check(buffer.page_addr, buffer.buff_data.data);
    const int32_t iFirst = SysparaFirstPage();
    const uint16_t usPage = static_cast<uint16_t>(iFirst < 0 ? EEPROM_PAGE_COUNT : buffer.page_addr - iFirst);
    crc_generate(usPage, 1, buffer.buff_data.data, &valid_crc);
    const int32_t iResult = crc_update(usPage, 1, &valid_crc);
    if (iResult != 0)
        EepromReport("%s: crc update err with %d.\r\n", "power_dowm_recovery", static_cast<int>(iResult));
}

void RecoverModulePage(const buffer_part& buffer) {
    EepromReport("%s: module recover.\r\n", "power_dowm_recovery");
    memcpy(&valid_module, &buffer.buff_data, sizeof(valid_module));
    module_update_info(&valid_module);
}

}  // namespace

int32_t buffer_check_single_valid(const buffer_part* pBuffer) {
    return pBuffer != nullptr && pBuffer->state == BUFFER_STATE_PENDING && pBuffer->crc_self == Seal(*pBuffer)
               ? 0
               : 1;
}

int32_t buffer_get_valid_info(buffer_part* pBuffer) {
    if (pBuffer == nullptr)
        return -1;
    *pBuffer = {};  // what an earlier opening found is no longer pending
    const unsigned uiCount =
        valid_module.buff_part_count < BUFF_PART_COUNT ? valid_module.buff_part_count : BUFF_PART_COUNT;
    SelectEeprom();
    for (unsigned i = 0; i < uiCount; ++i) {
        if (SlotDamaged(i))
            continue;
        uint16_t usState = 0;
        I2C_ReadREG(kAddressWidth, StateAddr(valid_module.buff_base_addr, i),
                    reinterpret_cast<uint8_t*>(&usState), sizeof(usState));
        EepromReport("%s: buffer_state = %04x .\r\n", __func__, usState);
        if (usState != BUFFER_STATE_PENDING)
            continue;
        buffer_part slot = {};
        uint8_t* pBytes = reinterpret_cast<uint8_t*>(&slot);
        const uint16_t usPage = static_cast<uint16_t>(valid_module.buff_base_addr / EEPROM_PAGE_SIZE + 2 * i);
        eeprom_read_page(usPage, pBytes);
        eeprom_read_page(static_cast<uint16_t>(usPage + 1), pBytes + EEPROM_PAGE_SIZE);
        const int32_t iResult = buffer_check_single_valid(&slot);
        if (iResult != 0)
            return iResult;
        buffer_id = static_cast<uint8_t>(i);
        *pBuffer = slot;
        return 0;
    }
    return 0;
}

void power_dowm_recovery(buffer_part* pBuffer) {
    if (pBuffer == nullptr || pBuffer->state != BUFFER_STATE_PENDING)
        return;
    if (pBuffer->page_addr >= kFirstCrcPage)
        RecoverCrcPage(*pBuffer);
    else if (pBuffer->page_addr >= kFirstSysparaPage)
        RecoverSysparaPage(*pBuffer);
    else
        RecoverModulePage(*pBuffer);
    buffer_invalid();
    pBuffer->state = BUFFER_STATE_EMPTY;
    check_eeprom_status();  // a read that comes during the release's write cycle would get ones
}

int32_t buffer_valid(uint16_t usPage, const uint8_t* pData) {
    if (pData == nullptr)
        return -1;
    buffer_part buffer = {};
    memcpy(&buffer.buff_data, pData, EEPROM_PAGE_SIZE);
    buffer.state = BUFFER_STATE_PENDING;
    buffer.page_addr = usPage;
    buffer.crc_self = Seal(buffer);
    for (;;) {
        EepromReport("%s: Enter with buffer_id = %d .\r\n", __func__, buffer_id);
        const int32_t iResult = WriteSlot(buffer);
        if (iResult != EEPROM_MISMATCH)
            return iResult;
        if (buffer_broken() != 0)
            return -1;
    }
}

int32_t buffer_invalid() {
    EepromReport("%s: Enter with buffer_id = %d .\r\n", __func__, buffer_id);
    const uint16_t usState = BUFFER_STATE_EMPTY;
    I2C_WriteREG(kAddressWidth, StateAddr(BUFF_BASE_ADDR, buffer_id),
                 reinterpret_cast<const uint8_t*>(&usState), sizeof(usState));
    return buffer_next();
}

int32_t buffer_next() {
    for (int iTry = 0; iTry < BUFF_PART_COUNT; ++iTry) {
        buffer_id = static_cast<uint8_t>((buffer_id + 1) % BUFF_PART_COUNT);
        if (!SlotDamaged(buffer_id))
            return 0;
    }
    EepromReport("all buffer damaged\n");
    return -1;
}

int32_t buffer_broken() {
    EepromReport("%s: Enter with buffer_id = %d .\r\n", __func__, buffer_id);
    valid_module.buff_err = static_cast<uint16_t>(valid_module.buff_err | 1U << buffer_id);
    module_update_info(&valid_module);
    return buffer_next();
}
