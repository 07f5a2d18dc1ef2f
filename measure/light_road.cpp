#include <math.h>
#include <stdio.h>

#include "device/Opm.h"
#include "device/common_opt.h"
#include "gui/guibase.h"
#include "gui/guischeduler.h"
#include "measure/acquisition.h"
#include "measure/adjust.h"
#include "measure/apd.h"

constexpr uint16_t FIRST_APD = 0xA43;
constexpr uint16_t LAST_APD = 0xF20;
constexpr int RAMP_TRIES = 200;
constexpr int MEAN_HIGH = 64000;
constexpr int MEAN_LOW = 58000;

// GBK: "breakdown voltage search failed, the link may carry light".
constexpr char LIGHT_ON_LINK[] =
    "\xbb\xf7\xb4\xa9\xb5\xe7\xd1\xb9\xb2\xe9\xd5\xd2\xca\xa7\xb0\xdc\xa3\xac\xc1\xb4\xc2\xb7\xbf\xc9\xc4\xdc"
    "\xd3\xd0"
    "\xb9\xe2"
    "!!!!!!!!!!!!!\n";
// GBK: "breakdown voltage search failed".
constexpr char SEARCH_FAILED[] = "\xbb\xf7\xb4\xa9\xb5\xe7\xd1\xb9\xb2\xe9\xd5\xd2\xca\xa7\xb0\xdc\n";

static bool Stopped() {
    return GetStopThreadFlag() == 0;
}

// A search that ends without a judgement may have the high voltage just below the breakdown: it goes down.
static int32_t GiveUp(int32_t iResult) {
    OPMSetApd(APD_REST_CODE);
    return iResult;
}

// Moves ATT0 until the mean is in its window. Returns 0 with the deviation as measured and the last mean; -1
// when stopped or out of range; ACQ_TIMED_OUT.
static int SearchAtt0(uint32_t uiAtt0, float& fStd, int& iMean) {
    do {
        if (Stopped())
            return -1;
        const int iMeasured = GetSignalParameter(uiAtt0);
        if (iMeasured != 0)
            return iMeasured == ACQ_TIMED_OUT ? GiveUp(iMeasured) : -1;
        fStd = signalStd;
        iMean = signalMean;
        MsecSleep(300);
        if (iMean > MEAN_HIGH)
            uiAtt0 += 10;
        else if (iMean < MEAN_LOW)
            uiAtt0 -= 10;
        if (uiAtt0 - 16 > 3824) {
            printf("GetSignalParameter ERROR! ATT0 = %d, blacklevel = %d\n", static_cast<int>(uiAtt0), iMean);
            return -1;
        }
    } while (iMean < MEAN_LOW || iMean > MEAN_HIGH);
    iATT0 = uiAtt0;
    MsecSleep(300);
    return 0;
}

// Raises the APD until the noise is well above fStd0. Returns 1 with the code in apd when the breakdown was
// reached, 0 when the tries are spent, -1 stopped, -2 past the last code, ACQ_TIMED_OUT.
static int RampApd(float fStd0, int iMean0, uint16_t& apd) {
    const float fFound = 10.0F * fStd0;
    const float fTooMuch = 100.0F * fStd0;
    float fStd = fStd0 < 1.0F ? 1.0F : fStd0;
    int iMean = iMean0;
    for (int iTries = RAMP_TRIES;; --iTries) {
        if (fStd > fFound && fStd < fTooMuch && iMean0 - iMean <= 20000)
            return iTries == 0 ? 0 : 1;
        if (iTries == 0)
            return 0;
        const int iMeasured = Stopped() ? ACQ_STOPPED : GetSignalParameter(iATT0);
        if (iMeasured != 0)
            return GiveUp(iMeasured);
        fStd = signalStd;
        iMean = signalMean;
        if (fStd <= fFound && iMean0 - iMean < 6000) {
            apd = static_cast<uint16_t>(apd + 16);
            if (apd > LAST_APD) {
                OPMSetApd(APD_REST_CODE);
                printf("%s", LIGHT_ON_LINK);
                return -2;
            }
            OPMSetApd(apd);
        } else if (fStd >= fTooMuch || iMean0 - iMean > 15000) {
            apd = static_cast<uint16_t>(apd - 4);
            OPMSetApd(apd);
        }
        MsecSleep(300);
    }
}

// Ten traces at the operating point, judged by their mean. Returns 1 good, -1 bad, 0 stopped, ACQ_TIMED_OUT.
static int32_t JudgeTraces(OTDRWaveLen waveLen, uint16_t apd) {
    constexpr int TRACE_COUNT = 10;
    const REG_STEP operatingPoint[] = {
        {OPM_VDD_REG, RegCode(pOpmTunning->iVddValue[0]), 10},
        {OPM_ATT0_REG, iATT0, 10},
        {OPM_ATT1_REG, RegCode(pOpmTunning->iAtt1), 10},
    };
    RunRegSequence(opticFD, operatingPoint);
    OPMSetApd(static_cast<uint16_t>(apd - 64));
    MsecSleep(200);
    float fMean = 0.0F;
    for (int i = 0; i < TRACE_COUNT; ++i) {
        const float fDelta = GetSignal(waveLen);
        if (isnan(fDelta) || GetExitFlag() == 1)
            return GiveUp(Stopped() ? 0 : ACQ_TIMED_OUT);
        fMean += fDelta;
    }
    fMean /= TRACE_COUNT;
    printf("fMean = %f\n", static_cast<double>(fMean));
    if (waveLen != WAVE_LEN_1310 && waveLen != WAVE_LEN_1550)
        return -1;
    const float fThreshold = waveLen == WAVE_LEN_1310 ? 6.0F : 5.0F;
    return fMean - fThreshold >= 0.0F ? 1 : -1;
}

// LightRoadJust, with ACQ_TIMED_OUT for itself.
static int32_t CheckLightRoad(OTDRWaveLen waveLen) {
    if (Stopped())
        return 0;
    GetOpmTunning();
    const REG_STEP outputs[] = {{FPGA_CTRLOUT_REG, 0x3FF, 1}};
    RunRegSequence(opticFD, outputs);
    if (Stopped())
        return 0;
    OPMSetApd(0);
    const REG_STEP setup[] = {
        {OPM_CTRL0_REG, 0x6300, 10},
        {OPM_CTRL1_REG, waveLen == WAVE_LEN_1310 ? 0x111U : 0x151U, 10},
        {OPM_VDD_REG, RegCode(pOpmTunning->iVddValue[0]), 10},
    };
    RunRegSequence(opticFD, setup);
    const uint32_t uiStored = pOpmTunning->iAtt0;
    const uint32_t uiAtt0 = uiStored >= 257 && uiStored <= 4079 ? uiStored : 1280;
    OPMSetAtt0(static_cast<uint16_t>(uiAtt0));
    MsecSleep(1);
    OPMSetApd(432);
    MsecSleep(150);

    float fStd0 = 0.0F;
    int iMean0 = 0;
    const int iSearch = SearchAtt0(uiAtt0, fStd0, iMean0);
    if (iSearch != 0)
        return iSearch;
    uint16_t apd = FIRST_APD;
    const int iRamp = RampApd(fStd0, iMean0, apd);
    if (iRamp < 0)
        return iRamp;
    printf("------------------step 2-------------apd = %x-------\n\n", apd);
    if (Stopped())
        return GiveUp(0);
    if (iRamp == 0) {
        printf("%s", SEARCH_FAILED);
        return GiveUp(OPM_ERR_TRY_TIMEOUT);
    }
    return JudgeTraces(waveLen, apd);
}

int32_t LightRoadJust(OTDRWaveLen waveLen) {
    const int32_t iResult = CheckLightRoad(waveLen);
    if (iResult != ACQ_TIMED_OUT)
        return iResult;
    ReportTimeOut();
    return -1;
}
