#include <stdio.h>
#include <string.h>

#include "device/crc32.h"
#include "device/eeprom_internal.h"

module_part valid_module = {};

namespace {

const module_part defaults = {
    0x0000,  // module_base_addr
    128,     // module_part_size
    MODULE_PART_COUNT,
    0,  // module_index
    0,  // module_err
    SYSPARA_BASE_ADDR,
    SYSPARA_PART_SIZE,
    SYSPARA_PART_COUNT,
    0,  // syspara_index
    0,  // syspara_err
    CRC_BASE_ADDR,
    sizeof(crc_part),
    CRC_PART_COUNT,
    0,  // crc_index
    0,  // crc_err
    BUFF_BASE_ADDR,
    sizeof(buffer_part),
    BUFF_PART_COUNT,
    0,  // buff_err
    {},
    0,
};

uint32_t Seal(const module_part& module) {
    return crc32c(reinterpret_cast<const uint8_t*>(&module), offsetof(module_part, reserved));
}

// Marks partition usIndex in usErr and moves usIndex on. -2, with the text shown and the index kept, when it
// was the last of the record's usCount, or there is no such one.
int32_t MarkBroken(const PARTITIONS& there, uint16_t& usIndex, uint16_t& usErr, uint16_t usCount,
                   const char* strAllDamaged) {
    usCount = PartitionCount(there, usCount);
    if (usIndex < usCount)
        usErr = static_cast<uint16_t>(usErr | 1U << usIndex);
    if (usIndex + 1 >= usCount) {
        EepromReport("%s", strAllDamaged);
        return -2;
    }
    ++usIndex;
    return 0;
}

// Writes copy usPart of the record.
int32_t WriteCopy(const module_part& module, uint16_t usPart) {
    const int32_t iPage = PartitionPage(MODULE_PARTITIONS, module.module_base_addr, module.module_part_size,
                                        module.module_part_count, usPart);
    if (iPage < 0)
        return EEPROM_MISMATCH;
    return eeprom_write_check(static_cast<uint16_t>(iPage), reinterpret_cast<const uint8_t*>(&module));
}

}  // namespace

int32_t PartitionPage(const PARTITIONS& there, uint16_t usBase, uint16_t usSize, uint16_t usCount,
                      uint16_t usIndex) {
    if (usIndex >= PartitionCount(there, usCount))
        return -1;
    const int32_t iPage = (usBase + usSize * usIndex) / EEPROM_PAGE_SIZE;
    const int32_t iEnd = there.usFirstPage + there.usPages * there.usCount;
    return iPage >= there.usFirstPage && iPage + there.usPages <= iEnd ? iPage : -1;
}

int32_t module_get_valid_info(module_part* pModule) {
    if (pModule == nullptr)
        return -1;
    EepromReportAndPrint("%s: Enter.\n", __func__);
    module_part candidates[MODULE_PART_COUNT] = {};
    for (uint16_t i = 0; i < MODULE_PART_COUNT; ++i) {
        if (eeprom_read_page(i, reinterpret_cast<uint8_t*>(&candidates[i])) != 0)
            EepromReportAndPrint("%s: read eeprom module info failed. \r\n", __func__);
    }
    for (const module_part& candidate : candidates) {
        printf("syspara_base_addr = 0x%x\n", candidate.syspara_base_addr);
        if (candidate.syspara_base_addr == SYSPARA_BASE_ADDR && candidate.crc_self == Seal(candidate)) {
            *pModule = candidate;
            return 0;
        }
    }
    const int32_t iResult = module_set_definfo(pModule);
    if (iResult == EEPROM_MISMATCH)
        EepromReportAndPrint("%s: all eeprom module info damaged.\n", __func__);
    return iResult;
}

int32_t module_set_definfo(module_part* pModule) {
    if (pModule == nullptr)
        return -1;
    *pModule = defaults;
    return module_update_info(pModule);
}

int32_t module_update_info(module_part* pModule) {
    if (pModule == nullptr)
        return -1;
    const uint16_t usCount = PartitionCount(MODULE_PARTITIONS, pModule->module_part_count);
    for (;;) {
        pModule->crc_self = Seal(*pModule);
        uint16_t usPart = pModule->module_index;
        int32_t iResult = 0;
        do
            iResult = WriteCopy(*pModule, usPart);
        while (iResult == 0 && ++usPart < usCount);
        if (iResult != EEPROM_MISMATCH)
            return iResult;
        if (module_part_broken(pModule) != 0)
            return iResult;
    }
}

int32_t module_part_broken(module_part* pModule) {
    if (pModule == nullptr)
        return -1;
    char strText[64] = "";
    snprintf(strText, sizeof(strText), "%s: all module partition damaged.\r\n", __func__);
    return MarkBroken(MODULE_PARTITIONS, pModule->module_index, pModule->module_err,
                      pModule->module_part_count, strText);
}

int32_t syspara_part_broken(module_part* pModule) {
    if (pModule == nullptr)
        return -1;
    return MarkBroken(SYSPARA_PARTITIONS, pModule->syspara_index, pModule->syspara_err,
                      pModule->syspara_part_count, "Opt eeprom: all syspara partition damaged.\r\n");
}

int32_t crc_part_broken(module_part* pModule) {
    if (pModule == nullptr)
        return -1;
    return MarkBroken(CRC_PARTITIONS, pModule->crc_index, pModule->crc_err, pModule->crc_part_count,
                      "Opt eeprom: all crc partition damaged.\n");
}

void debug(const module_part* pModule) {
    if (pModule == nullptr)
        return;
    static const struct {
        const char* strName;
        size_t offset;
    } fields[] = {
        {"module_base_addr", offsetof(module_part, module_base_addr)},
        {"module_part_size", offsetof(module_part, module_part_size)},
        {"module_part_count", offsetof(module_part, module_part_count)},
        {"module_index", offsetof(module_part, module_index)},
        {"module_err", offsetof(module_part, module_err)},
        {"syspara_base_addr", offsetof(module_part, syspara_base_addr)},
        {"syspara_part_size", offsetof(module_part, syspara_part_size)},
        {"syspara_part_count", offsetof(module_part, syspara_part_count)},
        {"syspara_index", offsetof(module_part, syspara_index)},
        {"syspara_err", offsetof(module_part, syspara_err)},
        {"crc_base_addr", offsetof(module_part, crc_base_addr)},
        {"crc_part_size", offsetof(module_part, crc_part_size)},
        {"crc_part_count", offsetof(module_part, crc_part_count)},
        {"crc_index", offsetof(module_part, crc_index)},
        {"crc_err", offsetof(module_part, crc_err)},
        {"buff_base_addr", offsetof(module_part, buff_base_addr)},
        {"buff_part_size", offsetof(module_part, buff_part_size)},
        {"buff_part_count", offsetof(module_part, buff_part_count)},
        {"buff_err", offsetof(module_part, buff_err)},
    };
    EepromReportAndPrint("**********************************\n");
    for (const auto& field : fields) {
        uint16_t usValue = 0;
        memcpy(&usValue, reinterpret_cast<const uint8_t*>(pModule) + field.offset, sizeof(usValue));
        EepromReportAndPrint("%s = 0x%x\n", field.strName, usValue);
    }
    EepromReportAndPrint("crc_self = 0x%x\n", static_cast<unsigned>(pModule->crc_self));
    EepromReportAndPrint("buffer_id = 0x%x\n", buffer_id);
    EepromReportAndPrint("**********************************\n");
}
