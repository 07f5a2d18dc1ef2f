// Checks through the FPGA: DDR memory, speaker, visible light source.
#include <stdio.h>

#include "device/common_opt.h"
#include "gui/guischeduler.h"
#include "screens/mainboard_check.h"
#include "screens/wnd_global.h"

// ---- DDR memory ----

// Status bits of OPM_ACQ_32_REG.
constexpr uint32_t DDR_READY = 0x01;
constexpr uint32_t DDR_ERROR = 0x02;

void FpgaDdrCheck() {
    uint32_t uiInput = 0;
    read_opt_reg(opticFD, OPM_ACQ_32_REG, &uiInput);
    const uint32_t uiReady = uiInput & DDR_READY;
    const uint32_t uiError = (uiInput & DDR_ERROR) >> 1;
    printf("iInput = %04x\n", uiInput);
    printf("tmp1 = %04x\n", uiReady);
    printf("tmp2 = %04x\n", uiError);
    const bool bPass = uiReady == 1 && uiError == 0;
    MainBoardResult.DdrFlag = bPass;
    MainBoardShowResult(bPass ? "FPGA DDR OK!!" : "FPGA DDR ERROR!!", bPass);
}

// ---- Speaker ----

void SpeakerCheck() {
    static const REG_STEP SpeakerSteps[] = {
        {FPGA_SPEAKER_TONE_REG, 0x2800, 0},
        {FPGA_SPEAKER_ON_REG, 1, 0},
    };
    printf("opticFD = %d\n", opticFD);
    RunRegSequence(opticFD, SpeakerSteps);
}

// ---- Visible light source ----

// The source goes out when the register is not written again: a thread keeps it lit, whatever screen is
// shown.
static int VisibleOpen = 0;
static GUITHREAD thdVisible = GUITHREAD_NONE;
constexpr unsigned VISIBLE_REFRESH_MS = 10;

static void WriteOutputs(uint32_t uiValue) {
    write_opt_reg(opticFD, FPGA_CTRLOUT_REG, &uiValue);
}

static bool StayLit() {
    return __atomic_load_n(&VisibleOpen, __ATOMIC_ACQUIRE) != 0 && GetExitFlag() != 1;
}

static void* OpenVLS(void*) {
    uint32_t uiOutputs = 0;
    bool bKnown = false;  // else a write would clear the register's other bits
    while (StayLit()) {
        bKnown = bKnown || read_opt_reg(opticFD, FPGA_CTRLOUT_REG, &uiOutputs) == 0;
        if (bKnown)
            WriteOutputs(uiOutputs | CTRLOUT_VISIBLE_LIGHT);
        MsecSleep(VISIBLE_REFRESH_MS);
    }
    uiOutputs &= ~CTRLOUT_VISIBLE_LIGHT;
    if (bKnown)
        WriteOutputs(uiOutputs);
    printf("--------close FPGA_CTRLOUT_REG: 0x%04x--------\n", uiOutputs);
    return nullptr;
}

static void SwitchOn() {
    __atomic_store_n(&VisibleOpen, 1, __ATOMIC_RELEASE);
    const bool bStarted = ThreadCreate(&thdVisible, OpenVLS, nullptr) == 0;
    if (!bStarted) {
        __atomic_store_n(&VisibleOpen, 0, __ATOMIC_RELEASE);
        thdVisible = GUITHREAD_NONE;
    }
    printf("-----create thread %s!!---\n", bStarted ? "success" : "failure");
    MainBoardShowResult(bStarted ? "Visible Check!" : NO_THREAD_TEXT, bStarted);
}

// The result of the join; 0 when there is nothing to switch off.
static int SwitchOff() {
    __atomic_store_n(&VisibleOpen, 0, __ATOMIC_RELEASE);
    const int iResult = thdVisible == GUITHREAD_NONE ? 0 : ThreadJoin(thdVisible, nullptr);
    thdVisible = GUITHREAD_NONE;
    return iResult;
}

void VisibleOnOff() {
    if (__atomic_load_n(&VisibleOpen, __ATOMIC_ACQUIRE) == 0) {
        SwitchOn();
        return;
    }
    const int iResult = SwitchOff();
    MainBoardShowResult("", true);
    printf("-----cancel thread %s!!---\n", iResult == 0 ? "success" : "failure");
}

void VisibleClose() {
    SwitchOff();
}
