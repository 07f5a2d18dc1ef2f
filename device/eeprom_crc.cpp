#include "device/crc32.h"

#include <string.h>

#include "device/eeprom_internal.h"

crc_part valid_crc = {};

namespace {

uint32_t Seal(const crc_page& page) {
    return crc32c(reinterpret_cast<const uint8_t*>(&page), offsetof(crc_page, reserved));
}

bool InPartition(uint16_t usFirst, uint16_t usCount) {
    return usCount > 0 && usFirst + usCount <= CRC_PER_PAGE * CRC_PAGE_COUNT;
}

}  // namespace

int32_t crc_generate(uint16_t usFirst, uint16_t usCount, const uint8_t* pData, crc_part* pCrc) {
    EepromReport("bbbbb1bbbbb");
    if (pData == nullptr || pCrc == nullptr || !InPartition(usFirst, usCount))
        return -1;
    EepromReport("bbbbb2bbbbb");
    EepromReport("bbbbb3bbbbb");
    const int iPage = usFirst / CRC_PER_PAGE;
    const int iPages = (usFirst + usCount - 1) / CRC_PER_PAGE - iPage + 1;
    EepromReport("bbbbb4bbbbb");
    EepromReport("%s: crc_page_num(%d), crc_page_count(%d).\r\n", __func__, iPage, iPages);
    for (int p = usFirst; p < usFirst + usCount; ++p) {
        pCrc->crc_data[p / CRC_PER_PAGE].crc[p % CRC_PER_PAGE] = crc32c(pData, EEPROM_PAGE_SIZE);
        pData += EEPROM_PAGE_SIZE;
    }
    EepromReport("bbbbb5bbbbb");
    for (int n = iPage; n < iPage + iPages; ++n)
        pCrc->crc_data[n].crc_self = Seal(pCrc->crc_data[n]);
    return 0;
}

int32_t crc_update(uint16_t usFirst, uint16_t usCount, const crc_part* pCrc) {
    if (pCrc == nullptr || !InPartition(usFirst, usCount))
        return -1;
    const int iFirstPage = usFirst / CRC_PER_PAGE;
    const int iLastPage = (usFirst + usCount - 1) / CRC_PER_PAGE;
    EepromReport("%s: Enter with crc_page_num = %d. \r\n", __func__, iFirstPage);
    for (;;) {
        const int32_t iPart = CrcFirstPage();
        int32_t iResult = iPart < 0 ? EEPROM_MISMATCH : 0;
        for (int n = iFirstPage; n <= iLastPage && iResult == 0; ++n) {
            iResult = eeprom_write_check(static_cast<uint16_t>(iPart + n),
                                         reinterpret_cast<const uint8_t*>(&pCrc->crc_data[n]));
        }
        if (iResult != EEPROM_MISMATCH)
            return iResult;
        const int32_t iBroken = crc_part_broken(&valid_module);
        module_update_info(&valid_module);
        if (iBroken != 0)
            return iResult;
    }
}

int32_t crc_check(const crc_page* pPage) {
    return pPage != nullptr && pPage->crc_self == Seal(*pPage) ? 0 : EEPROM_MISMATCH;
}

int32_t syspara_check(uint16_t usFirst, uint16_t usCount, const uint8_t* pData, const crc_part* pCrc) {
    if (pData == nullptr || pCrc == nullptr || !InPartition(usFirst, usCount))
        return -1;
    for (int p = usFirst; p < usFirst + usCount; ++p) {
        if (pCrc->crc_data[p / CRC_PER_PAGE].crc[p % CRC_PER_PAGE] != crc32c(pData, EEPROM_PAGE_SIZE)) {
            EepromReport("%s: the data of syspara_page_off %d is err.\r\n", __func__, p);
            return EEPROM_MISMATCH;
        }
        pData += EEPROM_PAGE_SIZE;
    }
    return 0;
}

int32_t crc_get_valid_info(crc_part* pCrc) {
    if (pCrc == nullptr)
        return -1;
    const int32_t iFirst = CrcFirstPage();
    if (iFirst < 0)
        return EEPROM_MISMATCH;
    crc_part part = {};
    const uint16_t usPart = valid_module.crc_index;
    for (int n = 0; n < CRC_PAGE_COUNT; ++n) {
        const int32_t iResult = eeprom_read_page(static_cast<uint16_t>(iFirst + n),
                                                 reinterpret_cast<uint8_t*>(&part.crc_data[n]));
        if (iResult != 0)
            return iResult;
    }
    for (int n = 0; n < CRC_PAGE_COUNT; ++n) {
        if (crc_check(&part.crc_data[n]) == 0)
            continue;
        EepromReport("crc_part[%d].crc_data[%d] check error.\r\n", usPart, n);
        part.crc_data[n].crc_self = Seal(part.crc_data[n]);
        crc_update(static_cast<uint16_t>(CRC_PER_PAGE * n), CRC_PER_PAGE, &part);
    }
    *pCrc = part;
    return 0;
}

int32_t crc_set_definfo(crc_part* pCrc) {
    if (pCrc == nullptr)
        return -1;
    *pCrc = {};
    for (crc_page& page : pCrc->crc_data)
        page.crc_self = Seal(page);
    return crc_update(0, SysparaPageCount(), pCrc);
}
