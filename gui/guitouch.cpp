#include "gui/guitouch.h"

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include "gui/guievent.h"
#include "gui/guischeduler.h"

static const unsigned long TOUCH_POLL_MS = 50;
// Moves and two-point touches are reported at most once in this time.
static const int64_t TOUCH_MOVE_US = 60000;

// Record types and codes of the Linux input layer.
enum {
    TYPE_SYNC = 0,
    TYPE_KEY = 1,
    TYPE_RELATIVE = 2,
    TYPE_ABSOLUTE = 3,
};
enum {
    SYNC_FRAME = 0,
    SYNC_POINT = 2,
    KEY_TOUCH = 330,
    RELATIVE_X = 0,
    RELATIVE_Y = 1,
    ABSOLUTE_MT_X = 53,
    ABSOLUTE_MT_Y = 54,
};

enum {
    AXIS_X = 0,
    AXIS_Y = 1,
    TOUCH_AXES = 2,
    TOUCH_POINTS = 5,
};

static const unsigned NO_POSITION = 0xFFFFFFFF;

// What a record, or a whole frame, leads to.
enum TOUCH_STEP {
    STEP_READ_ON,
    STEP_EMIT,
    STEP_REFUSE,
};

// State of the reader, kept from one event to the next; guarded by the touch object's mutex.
static unsigned uiCurPosition[TOUCH_AXES][TOUCH_POINTS] = {};  // points of the current frame
static unsigned uiCurId = 0;                 // point being reported; TOUCH_POINTS: no room for it
static int64_t lLasttime = 0;                // of the last emitted event, microseconds
static unsigned uiEventValue = NO_POSITION;  // packed position of the press, or none

unsigned uiMTCenter = 0;

static GUITOUCH* pCurrTouch = nullptr;

GUITOUCH* CreateTouch(const char* strDevName, int iDevType, THREADFUNC fnTouchThread) {
    if (strDevName == nullptr || fnTouchThread == nullptr)
        return nullptr;
    GUITOUCH* pTouchObj = static_cast<GUITOUCH*>(calloc(1, sizeof(GUITOUCH)));
    if (pTouchObj == nullptr)
        return nullptr;
    pTouchObj->iDevType = iDevType;
    pTouchObj->fnTouchThread = fnTouchThread;
    pTouchObj->iDevFd = open(strDevName, O_RDWR | O_CLOEXEC);
    if (pTouchObj->iDevFd < 0) {
        free(pTouchObj);
        return nullptr;
    }
    if (InitMutex(&pTouchObj->Mutex) != 0) {
        close(pTouchObj->iDevFd);
        free(pTouchObj);
        return nullptr;
    }
    return pTouchObj;
}

int DestroyTouch(GUITOUCH** ppTouchObj) {
    if (ppTouchObj == nullptr)
        return -1;
    GUITOUCH* pTouchObj = *ppTouchObj;
    if (pTouchObj == nullptr)
        return -2;
    DropCurr(&pCurrTouch, pTouchObj);
    const int iClosed = close(pTouchObj->iDevFd);
    DestroyMutex(&pTouchObj->Mutex);
    free(pTouchObj);
    *ppTouchObj = nullptr;
    return iClosed == 0 ? 0 : -3;
}

int SetCurrTouch(GUITOUCH* pTouchObj) {
    return StoreCurr(&pCurrTouch, pTouchObj);
}

GUITOUCH* GetCurrTouch() {
    return LoadCurr(&pCurrTouch);
}

static unsigned PackPosition(unsigned uiX, unsigned uiY) {
    return uiX << 16 | (uiY & 0xFFFF);
}

// Waits for a whole record. False when the exit flag ends the wait.
static bool ReadRecord(int iDevFd, GUITOUCH_RECORD* pRecord) {
    while (GetExitFlag() != 1) {
        if (read(iDevFd, pRecord, sizeof(*pRecord)) == static_cast<ssize_t>(sizeof(*pRecord)))
            return true;
        MsecSleep(TOUCH_POLL_MS);
    }
    return false;
}

static void SetPoint(int iAxis, int32_t iValue, unsigned* pCursor) {
    *pCursor = static_cast<unsigned>(iValue);
    if (uiCurId < TOUCH_POINTS)
        uiCurPosition[iAxis][uiCurId] = *pCursor;
}

// The end of one point: from the second on, the frame is a two-point touch.
static void EndPoint(unsigned* pCode) {
    if (uiCurId != 0)
        *pCode = GUIEVENT_TCH_TWO;
    if (uiCurId < TOUCH_POINTS)
        ++uiCurId;
}

// Centre and distance of points 0 and 1 on one axis.
static unsigned AxisCentre(int iAxis) {
    const int64_t l0 = uiCurPosition[iAxis][0];
    const int64_t l1 = uiCurPosition[iAxis][1];
    return static_cast<unsigned>(l1 + (l0 - l1) / 2);
}

static unsigned AxisDistance(int iAxis) {
    const unsigned ui0 = uiCurPosition[iAxis][0];
    const unsigned ui1 = uiCurPosition[iAxis][1];
    return ui0 > ui1 ? ui0 - ui1 : ui1 - ui0;
}

static TOUCH_STEP EndFrame(int64_t lTime, unsigned uiCode, GUITOUCH* pTouchObj) {
    uiCurId = 0;
    const bool bDue = lTime - lLasttime > TOUCH_MOVE_US;
    switch (uiCode) {
        case GUIEVENT_TCH_DOWN:
            uiEventValue = PackPosition(pTouchObj->uiCursX, pTouchObj->uiCursY);
            return STEP_EMIT;
        case GUIEVENT_TCH_UP:
            // Reported where the touch began, so that the release reaches the component that saw the press.
            pTouchObj->uiCursX = uiEventValue >> 16;
            pTouchObj->uiCursY = uiEventValue & 0xFFFF;
            uiEventValue = NO_POSITION;
            return STEP_EMIT;
        case GUIEVENT_TCH_MOVE:
            return bDue ? STEP_EMIT : STEP_READ_ON;
        case GUIEVENT_TCH_TWO:
            if (!bDue)
                return STEP_READ_ON;
            uiMTCenter = PackPosition(AxisCentre(AXIS_X), AxisCentre(AXIS_Y));
            pTouchObj->uiCursX = AxisDistance(AXIS_X);
            pTouchObj->uiCursY = AxisDistance(AXIS_Y);
            return STEP_EMIT;
        default:
            return STEP_REFUSE;
    }
}

static int64_t RecordTime(const GUITOUCH_RECORD& record) {
    return static_cast<int64_t>(record.uiSeconds) * 1000000 + record.uiMicroseconds;
}

// Takes one record into the reader's state; *pCode is the code of the event that is being put together.
static TOUCH_STEP DecodeRecord(const GUITOUCH_RECORD& record, unsigned* pCode, GUITOUCH* pTouchObj) {
    switch (record.usType) {
        case TYPE_KEY:
            if (record.usCode != KEY_TOUCH)
                return STEP_REFUSE;
            *pCode = record.iValue != 0 ? GUIEVENT_TCH_DOWN : GUIEVENT_TCH_UP;
            return STEP_READ_ON;
        case TYPE_RELATIVE:
            if (record.usCode != RELATIVE_X && record.usCode != RELATIVE_Y)
                return STEP_REFUSE;
            (record.usCode == RELATIVE_X ? pTouchObj->uiCursX : pTouchObj->uiCursY) =
                static_cast<unsigned>(record.iValue);
            return STEP_READ_ON;
        case TYPE_ABSOLUTE:
            if (record.usCode == ABSOLUTE_MT_X)
                SetPoint(AXIS_X, record.iValue, &pTouchObj->uiCursX);
            else if (record.usCode == ABSOLUTE_MT_Y)
                SetPoint(AXIS_Y, record.iValue, &pTouchObj->uiCursY);
            return STEP_READ_ON;
        case TYPE_SYNC:
            if (record.usCode == SYNC_POINT)
                EndPoint(pCode);
            else if (record.usCode == SYNC_FRAME)
                return EndFrame(RecordTime(record), *pCode, pTouchObj);
            return STEP_READ_ON;
        default:
            return STEP_READ_ON;
    }
}

// CustomTouchFunc under the touch object's mutex.
static int DecodeEvent(GUITOUCH* pTouchObj) {
    unsigned uiCode = GUIEVENT_TCH_MOVE;
    GUITOUCH_RECORD record = {};
    TOUCH_STEP step = STEP_READ_ON;
    while (step == STEP_READ_ON) {
        if (!ReadRecord(pTouchObj->iDevFd, &record))
            return -1;
        step = DecodeRecord(record, &uiCode, pTouchObj);
    }
    if (step == STEP_REFUSE)
        return -3;
    lLasttime = RecordTime(record);
    switch (PostEvent(uiCode, PackPosition(pTouchObj->uiCursX, pTouchObj->uiCursY))) {
        case 0:
            return 0;
        case -1:
            return -2;
        default:
            return -4;
    }
}

int CustomTouchFunc(GUITOUCH* pTouchObj) {
    if (pTouchObj == nullptr)
        return -1;
    MutexLock(&pTouchObj->Mutex);
    const int iResult = DecodeEvent(pTouchObj);
    MutexUnlock(&pTouchObj->Mutex);
    return iResult;
}

void* DefaultTouchThread(void* pThreadArg) {
    GUITOUCH* pTouchObj = static_cast<GUITOUCH*>(pThreadArg);
    while (GetExitFlag() != 1) {
        CustomTouchFunc(pTouchObj);
        MsecSleep(TOUCH_POLL_MS);
    }
    ThreadExit(nullptr);
}
