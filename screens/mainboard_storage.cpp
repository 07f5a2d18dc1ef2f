// Checks of what is stored on: USB stick, SD card, the board's EEPROM and the optical module's.
#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "device/crc32.h"
#include "device/e2prom.h"
#include "screens/eeprom_test_page.h"
#include "screens/mainboard_check.h"
#include "screens/wnd_global.h"

// ---- USB ----

constexpr unsigned USB_NOTICE_MS = 1000;
constexpr int USB_ENTRIES = 3;  // the two dot entries and one storage device

static int CountEntries(const char* pPath) {
    DIR* pDir = opendir(pPath);
    if (pDir == nullptr)
        return -1;
    int iCount = 0;
    // Only errno tells the end from a failure.
    errno = 0;
    while (readdir(pDir) != nullptr)
        ++iCount;
    const bool bFailed = errno != 0;
    closedir(pDir);
    return bFailed ? -1 : iCount;
}

int UsbCheck() {
    MainBoardShowResult("Usb Check ......", false);
    if (WaitUnlessExit(USB_NOTICE_MS) != 0)
        return -1;
    return CountEntries("/proc/scsi/usb-storage/") == USB_ENTRIES ? 0 : -1;
}

void ShowUsbCheck() {
    const bool bPass = UsbCheck() == 0;
    MainBoardResult.UsbFlag = bPass;
    MainBoardShowResult(bPass ? "Usb Check OK!" : "Usb Check Error!", bPass);
}

// ---- SD card ----

int SDcardCheck() {
    if (access("/mnt/sdcard", F_OK) != 0)
        return -1;
    const int iFd = open("/mnt/sdcard/sdcardtest", O_RDWR | O_CREAT | O_CLOEXEC, 0666);
    if (iFd < 0)
        return -2;
    close(iFd);
    return iFd;
}

void ShowSDcardCheck() {
    const int iResult = SDcardCheck();
    MainBoardResult.SDcardFlag = iResult >= 0;
    const char* pFailure = iResult == -1 ? "NO SDcard!" : "Write Error!";
    MainBoardShowResult(iResult >= 0 ? "Check SDcard OK!" : pFailure, iResult >= 0);
}

// ---- Board EEPROM ----

constexpr uint32_t EEPROM_TEST_FLAG = 13;
constexpr uint16_t EEPROM_TEST_PAGE = 0;

// Writes the board's record and returns the flag read back; 0 when nothing can be read.
static uint32_t WriteAndReadFlag() {
    MAINEEPROM record = {};
    record.iIfSelectFlag = EEPROM_TEST_FLAG;
    record.ulCrc32 = crc32c(&record, offsetof(MAINEEPROM, ulCrc32));
    PAGE page = {};
    memcpy(page.data, &record, sizeof(record));
    if (E2prom_open() < 0)
        return 0;
    E2prom_write_check(EEPROM_TEST_PAGE, page.data);
    page = {};
    E2prom_read_page(EEPROM_TEST_PAGE, page.data);
    E2prom_close();
    memcpy(&record, page.data, sizeof(record));
    return record.iIfSelectFlag;
}

void ArmEepromCheck() {
    const uint32_t uiFlag = WriteAndReadFlag();
    printf("eeprom iIfSelectFlag = %d\n", static_cast<int>(uiFlag));
    const bool bPass = uiFlag == EEPROM_TEST_FLAG;
    MainBoardResult.EepromFlag = bPass;
    MainBoardShowResult(bPass ? "Arm Eeprom Check OK!" : "Arm Eeprom Check Error!", bPass);
}

// ---- EEPROM of the optical module ----

int32_t EepromCheck() {
    return WriteEepromTestPage();
}
