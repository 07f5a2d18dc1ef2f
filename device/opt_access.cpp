#include "device/opt_access.h"

#include <sys/ioctl.h>

#include "device/opm_map.h"
#include "gui/guibase.h"

int opticFD = -1;
int fpgaFD = -1;

int opt_ioctl(int fd, uint32_t uiRequest, void* pArg) {
    return ioctl(fd, uiRequest, pArg);
}

// The driver numbers its registers; the callers name them by byte address.
static int RegisterIoctl(int fd, uint32_t uiRequest, uint32_t addr, uint32_t* pValue) {
    if (pValue == nullptr)
        return -1;
    OPTARGUMENT Arg = {static_cast<uint16_t>(addr >> 1), static_cast<uint16_t>(*pValue)};
    const int iRet = opt_ioctl(fd, uiRequest, &Arg);
    *pValue = Arg.usRegValue;
    return iRet;
}

int read_opt_reg(int fd, uint32_t addr, uint32_t* rd_val) {
    return RegisterIoctl(fd, OPTIC_IOC_READ_REG, addr, rd_val);
}

int write_opt_reg(int fd, uint32_t addr, uint32_t* wr_val) {
    return RegisterIoctl(fd, OPTIC_IOC_WRITE_REG, addr, wr_val);
}

int opt_read_data(int fd, uint16_t* data, uint16_t cnt) {
    if (data == nullptr)
        return -1;
    OPTARG_DAT Arg = {cnt, data};
    return opt_ioctl(fd, OPTIC_IOC_READ_DATA, &Arg);
}

int RunRegSequence(int fd, const REG_STEP* pSteps, size_t count) {
    if (pSteps == nullptr)
        return -1;
    int iFirst = 0;
    uint32_t uiValue = 0;
    for (const REG_STEP* pStep = pSteps; pStep < pSteps + count; ++pStep) {
        if (pStep->uiValue != REG_ECHO && pStep->uiValue != REG_READ)
            uiValue = pStep->uiValue;
        const int iRet = pStep->uiValue == REG_READ ? read_opt_reg(fd, pStep->uiAddr, &uiValue)
                                                    : write_opt_reg(fd, pStep->uiAddr, &uiValue);
        if (iFirst == 0)
            iFirst = iRet;
        if (pStep->usMsec > 0)
            MsecSleep(pStep->usMsec);
    }
    return iFirst;
}
