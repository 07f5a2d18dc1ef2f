// Checks of the battery and the clock.
#include <fcntl.h>
#include <stdio.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "screens/mainboard_check.h"

// ---- Battery ----

// The power controller sends one byte of flags and one of level.
constexpr unsigned PWR_RECORD_SIZE = 2;
constexpr uint8_t PWR_DC = 0x01;
constexpr uint8_t PWR_BATTERY = 0x02;
constexpr uint8_t PWR_FULL = 0x04;
constexpr uint8_t PWR_TYPE = 0x18;
constexpr unsigned PWR_TYPE_SHIFT = 3;
constexpr uint8_t PWR_DOWN = 0x20;

int Pwr_GetInfo(int iPwrFd, PWRINFO* pInfo) {
    uint8_t ucRecord[PWR_RECORD_SIZE] = {};
    if (pInfo == nullptr ||
        read(iPwrFd, ucRecord, sizeof(ucRecord)) != static_cast<ssize_t>(sizeof(ucRecord)))
        return -1;
    const uint8_t ucFlags = ucRecord[0];
    pInfo->ucStateDc = (ucFlags & PWR_DC) != 0;
    pInfo->ucStateBat = (ucFlags & PWR_BATTERY) != 0;
    pInfo->ucStateFull = (ucFlags & PWR_FULL) != 0;
    pInfo->ucStateType = static_cast<uint8_t>((ucFlags & PWR_TYPE) >> PWR_TYPE_SHIFT);
    pInfo->ucStatePd = (ucFlags & PWR_DOWN) != 0;
    pInfo->ucPowerLevel = ucRecord[1];
    printf("ucStateDc = %d, ucStateBat = %d, ucStateFull = %d,ucStateType = %d, ucPowerLevel = %d\n",
           pInfo->ucStateDc, pInfo->ucStateBat, pInfo->ucStateFull, pInfo->ucStateType, pInfo->ucPowerLevel);
    return 0;
}

// The first row whose scale holds the level is shown. On the second scale a larger number means a lower
// voltage.
struct BATTERY_RANGE {
    const char* pRange;
    int iFrom;  // scale of type 0: this level and above
    int iUpTo;  // scale of every other type: this level and below
};

static const BATTERY_RANGE BatteryRanges[] = {
    {"[8.3V-8.6V]", 90, 46},   {"[7.8V-8.4V]", 80, 60},   {"[7.55V-8.0V]", 70, 75},
    {"[7.35V-7.75V]", 60, 90}, {"[7.2V-7.55V]", 50, 101}, {"[7.0V-7.45V]", 40, 112},
    {"[6.85V-7.3V]", 30, 123}, {"[6.6V-7.1V]", 20, 134},  {"[6.4V-6.7V]", 10, 148},
    {"[6.0V-6.4V]", 0, 255},
};

void FormatBatteryText(const PWRINFO& Info, char* pText, unsigned uiSize) {
    if (Info.ucStateBat == 0) {
        snprintf(pText, uiSize, "No PowerDev in K905");
        return;
    }
    const int iLevel = Info.ucPowerLevel;
    const BATTERY_RANGE* pRow = BatteryRanges;
    while (Info.ucStateType == 0 ? iLevel < pRow->iFrom : iLevel > pRow->iUpTo)
        ++pRow;
    snprintf(pText, uiSize, "battery level = %d%% %s", iLevel, pRow->pRange);
}

void BatteryCheck() {
    const int iPwrFd = open("/dev/p89lpc933_0", O_RDWR | O_CLOEXEC);
    if (iPwrFd < 0) {
        perror("open /dev/p89lpc933_0");
        MainBoardShowResult("PowerDev ERROR!", false);
        return;
    }
    PWRINFO info = {};
    const bool bRead = Pwr_GetInfo(iPwrFd, &info) == 0;
    close(iPwrFd);
    char strText[64] = "PowerDev Info ERROR!";
    if (bRead)
        FormatBatteryText(info, strText, sizeof(strText));
    MainBoardShowResult(strText, bRead && info.ucStateBat != 0);
}

// ---- Clock ----

int Rtc_GetTime(struct rtc_time* pTime) {
    if (pTime == nullptr)
        return -1;
    const int iRtcFd = open("/dev/rtc0", O_RDONLY | O_CLOEXEC);
    if (iRtcFd < 0)
        return -1;
    const int iResult = ioctl(iRtcFd, RTC_RD_TIME, pTime);
    close(iRtcFd);
    return iResult == 0 ? 0 : -1;
}

void RtcCheck() {
    struct rtc_time now = {};
    if (Rtc_GetTime(&now) != 0) {
        MainBoardShowResult("RTC ERROR!", false);
        return;
    }
    char strTime[40] = "";
    char strDate[40] = "";
    char strText[96] = "";
    snprintf(strTime, sizeof(strTime), "%02d:%02d:%2d", now.tm_hour, now.tm_min, now.tm_sec);
    snprintf(strDate, sizeof(strDate), "%4d/%02d/%02d", now.tm_year + 1900, now.tm_mon + 1, now.tm_mday);
    snprintf(strText, sizeof(strText), "RTC  %s  %s", strTime, strDate);
    MainBoardShowResult(strText, true);
}
