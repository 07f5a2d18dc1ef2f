#include "device/eeprom.h"

#include <string.h>

#include "device/eeprom_internal.h"
#include "device/i2c_com.h"

namespace {

// The pages that a byte range touches, and the image of them that the routines work on.
struct PageRange {
    uint16_t usFirst;
    uint16_t usCount;
    uint32_t uiOffset;  // of the range's first byte in the image
};

// Cuts iCount to what the partition holds from uiAddr on, showing strTooMuch when it had to. 0: nothing is
// left.
int32_t CutCount(uint32_t uiAddr, int32_t iCount, const char* strTooMuch) {
    const uint32_t uiSize = static_cast<uint32_t>(SysparaPageCount()) * EEPROM_PAGE_SIZE;
    if (iCount <= 0)
        return 0;
    if (uiAddr < uiSize && static_cast<uint32_t>(iCount) <= uiSize - uiAddr)
        return iCount;
    EepromReport("%s", strTooMuch);
    return uiAddr < uiSize ? static_cast<int32_t>(uiSize - uiAddr) : 0;
}

PageRange RangeOf(uint32_t uiAddr, int32_t iCount) {
    const uint32_t uiFirst = uiAddr / EEPROM_PAGE_SIZE;
    const uint32_t uiLast = (uiAddr + static_cast<uint32_t>(iCount) - 1) / EEPROM_PAGE_SIZE;
    return {static_cast<uint16_t>(uiFirst), static_cast<uint16_t>(uiLast - uiFirst + 1),
            uiAddr % EEPROM_PAGE_SIZE};
}

// What the last checksum update of a write means for the partition. Returns the code of the write, 0 when it
// is good.
int32_t JudgeWrite(int32_t iResult) {
    if (iResult == EEPROM_NO_RESPONSE) {
        EepromReport("%s: no response, write syspara failed.", "optic_eeprom_write");
    } else if (iResult == EEPROM_MISMATCH) {
        EepromReport("%s: syspara part%d damaged.", "optic_eeprom_write", valid_module.syspara_index);
        if (syspara_part_broken(&valid_module) != 0)
            iResult = -3;
        module_update_info(&valid_module);
    }
    return iResult;
}

}  // namespace

int32_t optic_eeprom_read(uint32_t uiAddr, uint8_t* pBuff, int32_t iCount) {
    if (pBuff == nullptr)
        return -1;
    iCount = CutCount(uiAddr, iCount, "Opt eeprom: read too much, out of syspara part\r\n");
    if (iCount == 0)
        return 0;
    const PageRange range = RangeOf(uiAddr, iCount);
    uint8_t ucWork[SYSPARA_PART_SIZE];
    memset(ucWork, 0xFF, static_cast<size_t>(range.usCount) * EEPROM_PAGE_SIZE);
    const int32_t iPart = SysparaFirstPage();
    int32_t iRead = iPart < 0 ? EEPROM_MISMATCH : 0;
    for (uint16_t i = 0; i < range.usCount && iRead == 0; ++i) {
        iRead =
            eeprom_read_page(static_cast<uint16_t>(iPart + range.usFirst + i), ucWork + i * EEPROM_PAGE_SIZE);
    }
    if (iRead != 0) {
        EepromReport("%s: read eeprom data failed.\r\n", __func__);
        return iRead;
    }
    const int32_t iCheck = syspara_check(range.usFirst, range.usCount, ucWork, &valid_crc);
    memcpy(pBuff, ucWork + range.uiOffset, static_cast<size_t>(iCount));
    if (iCheck != 0) {
        EepromReport("%s: eeprom data err.\r\n", __func__);
        return EEPROM_MISMATCH;
    }
    return iCount;
}

int32_t optic_eeprom_write(uint32_t uiAddr, const uint8_t* pBuff, int32_t iCount) {
    if (pBuff == nullptr)
        return -1;
    iCount = CutCount(uiAddr, iCount, "Opt eeprom: write too much, out of syspara part");
    if (iCount == 0)
        return 0;
    const int32_t iPart = SysparaFirstPage();
    if (iPart < 0)
        return JudgeWrite(EEPROM_MISMATCH);
    const PageRange range = RangeOf(uiAddr, iCount);
    uint8_t ucWork[SYSPARA_PART_SIZE];
    memset(ucWork, 0xFF, static_cast<size_t>(range.usCount) * EEPROM_PAGE_SIZE);
    const uint16_t usFirst = static_cast<uint16_t>(iPart + range.usFirst);
    const uint16_t usLast = static_cast<uint16_t>(range.usCount - 1);
    eeprom_read_page(usFirst, ucWork);
    eeprom_read_page(static_cast<uint16_t>(usFirst + usLast), ucWork + usLast * EEPROM_PAGE_SIZE);
    memcpy(ucWork + range.uiOffset, pBuff, static_cast<size_t>(iCount));
    crc_generate(range.usFirst, range.usCount, ucWork, &valid_crc);

    int32_t iResult = 0;
    for (uint16_t i = 0; i < range.usCount; ++i) {
        const uint16_t usEepromPage = static_cast<uint16_t>(usFirst + i);
        if (buffer_valid(usEepromPage, ucWork + i * EEPROM_PAGE_SIZE) != 0)
            EepromReport("%s: buffer_valid failed.", __func__);
        eeprom_write_check(usEepromPage, ucWork + i * EEPROM_PAGE_SIZE);
        buffer_invalid();
        iResult = crc_update(static_cast<uint16_t>(range.usFirst + i), 1, &valid_crc);
        if (iResult != 0)
            EepromReport("%s: crc update err with %d.", __func__, static_cast<int>(iResult));
    }
    iResult = JudgeWrite(iResult);
    return iResult != 0 ? iResult : iCount;
}

void optic_eeprom_erase() {
    constexpr int kProgressPages = 51;  // a progress line about every tenth of the pages
    EepromReport("%s: Enter.\r\n", __func__);
    AT24C512_Startup();
    const uint8_t ucZero[EEPROM_PAGE_SIZE] = {};
    for (int iPage = 0; iPage < EEPROM_PAGE_COUNT; ++iPage) {
        if (iPage % kProgressPages == 0)
            EepromReport(".............................%%%d\r\n", iPage * 100 / EEPROM_PAGE_COUNT);
        eeprom_write_page(static_cast<uint16_t>(iPage), ucZero);
        check_eeprom_status();
    }
    crc_set_definfo(&valid_crc);
    AT24C512_WriteProtect();
    EepromReport("%s: Suc.\r\n", __func__);
}
