#include "device/serial_link.h"

#include <fcntl.h>
#include <string.h>
#include <sys/select.h>
#include <unistd.h>

#include "device/operator_report.h"
#include "device/opm_status.h"

ShareData OPMGUIShare = {PTHREAD_MUTEX_INITIALIZER, 0, 0, 0, 0, 0};

int serialFD = -1;

static struct termios oldtio;  // settings found on opening, restored on closing
static struct termios newtio;
static struct timeval tv;  // receive time-out
static fd_set rfds;

// Frames: byte 0 counts the bytes after it; requests end with FRAME_END.
constexpr int FRAME_SIZE = 20;
constexpr uint8_t FRAME_END = '#';
static uint8_t SendBuffer[FRAME_SIZE];
static uint8_t RecvBuffer[FRAME_SIZE];

constexpr int RECEIVE_SECONDS = 5;
constexpr unsigned REPLY_MSEC = 25;  // time in which the rest of a reply arrives after its first byte
constexpr int CONNECT_TRIES = 3;
constexpr unsigned CONNECT_MSEC = 50;

static uint32_t BigEndian32(const uint8_t* pByte) {
    return uint32_t{pByte[0]} << 24 | uint32_t{pByte[1]} << 16 | uint32_t{pByte[2]} << 8 | pByte[3];
}

static float BigEndianFloat(const uint8_t* pByte) {
    const uint32_t uiBits = BigEndian32(pByte);
    float fValue = 0.0f;
    static_assert(sizeof(fValue) == sizeof(uiBits), "IEEE-754 single precision");
    memcpy(&fValue, &uiBits, sizeof(fValue));
    return fValue;
}

void SetTermios(struct termios* pTermios, tcflag_t uiBaud) {
    if (pTermios == nullptr)
        return;
    memset(pTermios, 0, sizeof(*pTermios));
    pTermios->c_iflag = IGNBRK | IGNPAR;
    pTermios->c_cflag = uiBaud | CS8 | CREAD | CLOCAL;
    pTermios->c_cc[VEOF] = 4;
    pTermios->c_cc[VTIME] = 10;  // tenths of a second
    pTermios->c_cc[VMIN] = 7;
}

int32_t SerialInit() {
    if (serialFD != -1)
        return OPM_ERR_SERIAL_REOPEN;
    // Never the controlling terminal: a hang-up on the line must not end the program.
    serialFD = open("/dev/ttyS0", O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (serialFD < 0)
        return OPM_ERR_SERIAL_OPEN;
    tcgetattr(serialFD, &oldtio);
    SetTermios(&newtio, B115200);
    tcflush(serialFD, TCIFLUSH);
    tcsetattr(serialFD, TCSANOW, &newtio);
    tv.tv_sec = RECEIVE_SECONDS;
    tv.tv_usec = 0;
    fcntl(serialFD, F_SETFL, 0);
    return 0;
}

static void SerialClose() {
    tcsetattr(serialFD, TCSANOW, &oldtio);
    close(serialFD);
    serialFD = -1;
}

int32_t SerialSendData(const uint8_t* data, int len) {
    if (data == nullptr || len < 0)
        return -1;
    const ssize_t iSent = write(serialFD, data, static_cast<size_t>(len));
    if (iSent >= 0)
        tcdrain(serialFD);
    return static_cast<int32_t>(iSent);
}

// Waits for a first byte; the microseconds of the time-out are left as the previous wait left them.
static bool WaitForReply() {
    if (serialFD < 0 || serialFD >= FD_SETSIZE)
        return false;
    for (;;) {
        FD_ZERO(&rfds);
        FD_SET(serialFD, &rfds);
        tv.tv_sec = RECEIVE_SECONDS;
        if (select(serialFD + 1, &rfds, nullptr, nullptr, &tv) <= 0)
            return false;
        if (FD_ISSET(serialFD, &rfds))
            return true;
    }
}

int32_t SerialRecvData(uint8_t* data, int len, int command_len) {
    if (data == nullptr || len < 0)
        return OPM_ERR_RECV_LEN;
    if (!WaitForReply())
        return OPM_ERR_SERIAL_TIMEOUT;
    const size_t iRoom = static_cast<size_t>(len);
    memset(data, 0, iRoom);
    MsecSleep(REPLY_MSEC);
    const ssize_t iCount = read(serialFD, data, iRoom < FRAME_SIZE ? iRoom : FRAME_SIZE);
    return iCount == command_len + 1 ? 0 : OPM_ERR_RECV_LEN;
}

// Puts a request of count bytes after the length byte into SendBuffer, the rest of both buffers being zero,
// and sends it. Returns the bytes sent, negative on failure.
static int32_t SendRequest(const uint8_t* pBytes, int iCount) {
    memset(SendBuffer, 0, sizeof(SendBuffer));
    memset(RecvBuffer, 0, sizeof(RecvBuffer));
    SendBuffer[0] = static_cast<uint8_t>(iCount);
    memcpy(SendBuffer + 1, pBytes, static_cast<size_t>(iCount));
    return SerialSendData(SendBuffer, iCount + 1);
}

template <int N>
static int32_t SendRequest(const uint8_t (&ucBytes)[N]) {
    static_assert(N < FRAME_SIZE, "a request fits its buffer");
    return SendRequest(ucBytes, N);
}

int32_t OPMGetZhijuAdcValue(AdcChanel chanel, AdcRange range, float* value, uint32_t* value_len,
                            CommandList command, int command_len) {
    if (value == nullptr)
        return -1;
    const uint8_t ucRequest[] = {command, chanel, range, FRAME_END};
    if (SendRequest(ucRequest) < 0)
        return OPM_ERR_SERIAL_WRITE;
    const int32_t iRet = SerialRecvData(RecvBuffer, FRAME_SIZE, command_len);
    if (iRet != 0)
        return iRet;
    if (RecvBuffer[1] != chanel)
        return OPM_ERR_ADC_CHANNEL;
    *value = BigEndianFloat(RecvBuffer + 2);
    if (RecvBuffer[0] == LONG_REPLY && value_len != nullptr)
        *value_len = BigEndian32(RecvBuffer + 6);
    return 0;
}

int32_t OPMGetAdcValue(AdcChanel chanel, AdcRange range, float* value) {
    return OPMGetZhijuAdcValue(chanel, range, value, nullptr, GET_ADC_VALUE, SHORT_REPLY);
}

int32_t OPMSetDacChnnel(CommandList chanel, AdcRange range) {
    const uint8_t ucRequest[] = {chanel, range, FRAME_END};
    const int32_t iSent = SendRequest(ucRequest);
    return iSent < 0 ? OPM_ERR_SERIAL_WRITE : iSent;
}

// Where a connect toggle reports.
struct CONNECT_REPORT {
    int (*fnSetInfo)(const char* pInfo);
    int32_t (*fnErrorHandler)(int32_t err);
};

// Asks the board for its echo, up to three times. Returns true once it answered; the caller holds the share's
// mutex.
static bool Handshake(const CONNECT_REPORT& Report) {
    const uint8_t ucRequest[] = {CONNECT, FRAME_END};
    SendRequest(ucRequest);
    for (int iTry = 1; iTry <= CONNECT_TRIES; ++iTry) {
        const int32_t iRet = SerialRecvData(RecvBuffer, FRAME_SIZE, SHORT_REPLY);
        if (iRet != 0)
            Report.fnErrorHandler(iRet);
        else if (RecvBuffer[1] == CONNECT)
            return true;
        MsecSleep(CONNECT_MSEC);
        if (iTry < CONNECT_TRIES)
            SerialSendData(SendBuffer, SendBuffer[0] + 1);
    }
    return false;
}

static void ToggleConnection(const CONNECT_REPORT& Report) {
    const int32_t iRet = SerialInit();
    if (iRet == OPM_ERR_SERIAL_REOPEN) {
        SerialClose();
        MutexLock(&OPMGUIShare.mutex);
        OPMGUIShare.usIsConnect = 0;
        MutexUnlock(&OPMGUIShare.mutex);
        Report.fnSetInfo("Close serial port!");
        return;
    }
    if (iRet != 0) {
        Report.fnErrorHandler(iRet);
        return;
    }
    MutexLock(&OPMGUIShare.mutex);
    if (OPMGUIShare.usIsConnect != 1) {
        if (Handshake(Report)) {
            OPMGUIShare.usIsConnect = 1;
            Report.fnSetInfo("Connect to aduc848 board!");
        } else {
            SerialClose();
            Report.fnSetInfo("Can not connect to aduc848 board!");
        }
    }
    MutexUnlock(&OPMGUIShare.mutex);
}

static const CONNECT_REPORT AdjustReport = {FrmAdjustSetInfo, OPMAdjustErrorHandler};
static const CONNECT_REPORT OpmReport = {FrmOPMSetInfo, OPMOPMErrorHandler};
static const CONNECT_REPORT MainBoardReport = {FrmMainBoardSetInfo, MainBoardErrorHandler};

static void* RunToggle(const CONNECT_REPORT& Report) {
    static int32_t iStatus = 0;
    ToggleConnection(Report);
    return &iStatus;
}

void* SerialInitThd(void*) {
    return RunToggle(AdjustReport);
}

void* SerialInitThd1(void*) {
    return RunToggle(OpmReport);
}

void* SerialInitThd2(void*) {
    return RunToggle(MainBoardReport);
}
