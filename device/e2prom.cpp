#include "device/e2prom.h"

#include <fcntl.h>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <unistd.h>

int iE2prom = -1;
static struct i2c_rdwr_ioctl_data EepromData;

constexpr uint16_t EEPROM_ADDRESS = 0x50;
constexpr int ADDRESS_BYTES = 2;
constexpr int POLL_TRIES = 21;
constexpr int PAGE_TRIES = 10;

// Requests of the adapter. The last one is the board's own: it drives the EEPROM's write protection.
constexpr unsigned long IOC_SLAVE = 0x0703;
constexpr unsigned long IOC_RDWR = 0x0707;
constexpr unsigned long IOC_WRITE_PROTECT = 0x0709;
static_assert(IOC_SLAVE == I2C_SLAVE && IOC_RDWR == I2C_RDWR, "numbers of the kernel's interface");

int32_t E2prom_open() {
    if (iE2prom >= 0) {
        printf("Eeprom busy..");
        return -1;
    }
    const int iFd = open("/dev/i2c-1", O_RDWR | O_CLOEXEC);
    if (iFd < 0) {
        printf("FUN:open--can't open eeprom dev");
        return iFd;
    }
    EepromData.nmsgs = 2;
    EepromData.msgs = static_cast<struct i2c_msg*>(calloc(EepromData.nmsgs, sizeof(struct i2c_msg)));
    if (EepromData.msgs == nullptr) {
        printf("GuiMemAlloc err");
        close(iFd);
        return -1;
    }
    iE2prom = iFd;
    return iE2prom;
}

int32_t E2prom_close() {
    if (iE2prom < 0)
        return 0;
    close(iE2prom);
    iE2prom = -1;
    free(EepromData.msgs);
    EepromData.msgs = nullptr;
    return 0;
}

// True when the adapter is open; says so when it is not.
static bool IsOpen() {
    if (iE2prom >= 0)
        return true;
    printf("EEPROM DEV not opened");
    return false;
}

// Checks the arguments of a page transfer and prints the page.
static bool CheckPage(uint16_t uspagenum, const uint8_t* pData) {
    if (uspagenum > E2PROM_PAGE_LAST || pData == nullptr) {
        printf("FUN:write page--para err");  // the reading function says so as well
        return false;
    }
    if (!IsOpen())
        return false;
    printf("uspagenum = %d\n", uspagenum);
    return true;
}

// Memory address of a page, page * 128, high byte first.
static void PutPageAddress(uint8_t* pBytes, uint16_t uspagenum) {
    pBytes[0] = static_cast<uint8_t>(uspagenum >> 1);
    pBytes[1] = static_cast<uint8_t>(uspagenum << 7);
}

static struct i2c_msg Message(uint16_t usFlags, uint16_t usLength, uint8_t* pBytes) {
    struct i2c_msg Msg = {};
    Msg.addr = EEPROM_ADDRESS;
    Msg.flags = usFlags;
    Msg.len = usLength;
    Msg.buf = pBytes;
    return Msg;
}

// Hands the first uiCount messages to the adapter as one transfer.
static int32_t Transfer(unsigned uiCount) {
    EepromData.nmsgs = uiCount;
    return ioctl(iE2prom, IOC_RDWR, &EepromData);
}

int32_t E2prom_read_page(uint16_t uspagenum, uint8_t* pData) {
    if (!CheckPage(uspagenum, pData))
        return -1;
    uint8_t ucAddress[ADDRESS_BYTES] = {};
    PutPageAddress(ucAddress, uspagenum);
    EepromData.msgs[0] = Message(0, ADDRESS_BYTES, ucAddress);
    EepromData.msgs[1] = Message(I2C_M_RD, E2PROM_PAGE_SIZE, pData);
    const int32_t iRet = Transfer(2);
    if (iRet < 0)
        printf("E2prom page read failed");
    return iRet;
}

int32_t E2prom_write_page(uint16_t uspagenum, const uint8_t* pData) {
    if (!CheckPage(uspagenum, pData))
        return -1;
    constexpr uint16_t LENGTH = ADDRESS_BYTES + E2PROM_PAGE_SIZE;
    uint8_t* pBytes = static_cast<uint8_t*>(malloc(LENGTH));
    if (pBytes == nullptr) {
        printf("malloc err");
        return -1;
    }
    PutPageAddress(pBytes, uspagenum);
    memcpy(pBytes + ADDRESS_BYTES, pData, E2PROM_PAGE_SIZE);
    EepromData.msgs[0] = Message(0, LENGTH, pBytes);
    ioctl(iE2prom, IOC_SLAVE, static_cast<unsigned long>(EEPROM_ADDRESS));
    ioctl(iE2prom, IOC_WRITE_PROTECT, 0UL);
    const int32_t iRet = Transfer(1);
    if (iRet < 0)
        printf("E2prom page write failed");
    ioctl(iE2prom, IOC_WRITE_PROTECT, 1UL);
    EepromData.msgs[0].buf = nullptr;
    free(pBytes);
    return iRet;
}

int32_t E2prom_polling() {
    if (!IsOpen())
        return -1;
    uint8_t ucByte = 0;
    EepromData.msgs[0] = Message(I2C_M_RD, 1, &ucByte);
    ioctl(iE2prom, IOC_SLAVE, static_cast<unsigned long>(EEPROM_ADDRESS));
    return Transfer(1);
}

int32_t Poll_E2prom() {
    for (int i = 0; i < POLL_TRIES; ++i) {
        if (E2prom_polling() >= 0)
            return 0;
    }
    printf("Eeprom poll no response, failed");
    return -1;
}

// Repeats a page transfer until it succeeds, at most PAGE_TRIES times.
template <typename Data>
static bool TryPage(int32_t (*fnTransfer)(uint16_t, Data*), uint16_t uspagenum, Data* pData) {
    for (int i = 0; i < PAGE_TRIES; ++i) {
        if (fnTransfer(uspagenum, pData) >= 0)
            return true;
    }
    return false;
}

int32_t E2prom_write_check(uint16_t uspagenum, const uint8_t* pData) {
    if (Poll_E2prom() != 0)
        return -1;
    if (!TryPage(E2prom_write_page, uspagenum, pData)) {
        printf("1.write check failed, Write PageNum:%d\n", uspagenum);
        return -1;
    }
    if (Poll_E2prom() != 0)
        return -1;
    PAGE ReadBack = {};
    if (!TryPage(E2prom_read_page, uspagenum, ReadBack.data)) {
        printf("3. write check failed, read back PageNum:%d\n", uspagenum);
        return -1;
    }
    return memcmp(ReadBack.data, pData, E2PROM_PAGE_SIZE) == 0 ? 0 : -2;
}
