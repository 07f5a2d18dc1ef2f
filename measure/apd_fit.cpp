#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "device/Opm.h"
#include "device/common_opt.h"
#include "device/operator_report.h"
#include "measure/apd.h"
#include "measure/common_opm.h"

constexpr int FIT_SAMPLES = 10;   // fewer are not fitted
constexpr int GOOD_SAMPLES = 16;  // fewer end as a failure, saved all the same
constexpr int MOST_DELETED = 14;
constexpr float OUTLIER = 8.0F;  // codes off the line
constexpr uint16_t LEAST_BREAK = 1600;
constexpr int APD_SETTINGS = 5;

// Codes below breakdown of the APD settings; the sixth setting is always 0.
const uint16_t changvalue[6] = {15, 45, 145, 455, 1600, 1600};

// Intercept as an unsigned 16-bit code; 0, which is refused as too small, for one that is none.
static uint16_t InterceptCode(float b) {
    return b > 0.0F && b < 65536.0F ? static_cast<uint16_t>(b) : 0;
}

// Index and signed distance (codes) of the sample farthest from the line; prints every one.
static int FarthestSample(const APD_BREAK_PARA& para, float k, float b, float& max_delta) {
    int iFarthest = 0;
    max_delta = 1e-7F;
    for (int i = 0; i < para.iNum; ++i) {
        const float delta = k * para.fTemp[i] + b - static_cast<float>(para.iVolt[i]);
        printf("delta = %5.2f, ApdBreakVoltage = 0x%x, %d, fTempValue = %f\r\n", static_cast<double>(delta),
               para.iVolt[i], para.iVolt[i], static_cast<double>(para.fTemp[i]));
        const float fRatio = delta / max_delta;
        if (fRatio > 1.0F || fRatio < -1.0F) {
            max_delta = delta;
            iFarthest = i;
        }
    }
    printf("Num = %d, max_delta = %f \r\n", iFarthest, static_cast<double>(max_delta));
    return iFarthest;
}

static void DeleteSample(APD_BREAK_PARA& para, int iSample) {
    for (int i = iSample; i + 1 < para.iNum; ++i) {
        para.iVolt[i] = para.iVolt[i + 1];
        para.fTemp[i] = para.fTemp[i + 1];
    }
    --para.iNum;
}

// Fits the line, deleting one sample after the other until none lies off it. Returns the number deleted.
static int FitWithoutOutliers(APD_BREAK_PARA& para, float* pk, float* pb) {
    Polyfit(pk, pb, &para);
    for (int iDeleted = 0;;) {
        float max_delta = 0.0F;
        const int iFarthest = FarthestSample(para, *pk, *pb, max_delta);
        if (max_delta > -OUTLIER && max_delta < OUTLIER)
            return iDeleted;
        DeleteSample(para, iFarthest);
        Polyfit(pk, pb, &para);
        if (++iDeleted == MOST_DELETED || para.iNum == 0)
            return iDeleted;
    }
}

static void ShowAndLog(char* strText) {
    FrmApdAdjSetInfo1(strText);
    FCT_LOG(strText);
}

void GetApdCoefficient(float* pk, float* pb, APD_BREAK_PARA* pPara) {
    if (pk == nullptr || pb == nullptr || pPara == nullptr)
        return;
    char strText[200] = "";
    if (pPara->iNum < FIT_SAMPLES) {
        snprintf(strText, sizeof(strText), "Num = %d, GetApdCoefficient Failed!", pPara->iNum);
        printf("%s\r\n", strText);
        ShowAndLog(strText);
        return;
    }
    APD_BREAK_PARA* pApd_Para = static_cast<APD_BREAK_PARA*>(malloc(sizeof(*pApd_Para)));
    if (pApd_Para == nullptr)
        return;
    *pApd_Para = *pPara;
    const int iDeleted = FitWithoutOutliers(*pApd_Para, pk, pb);
    const bool bGood = iDeleted < MOST_DELETED && pPara->iNum >= GOOD_SAMPLES;
    if (!bGood)
        printf("TempNum = %d, DelNum = %d, GetApdCoefficient Failed!\r\n", pPara->iNum, iDeleted);
    ChangeOpmTunning(InterceptCode(*pb), 0.0F, *pk);
    SaveOpmTunning();
    if (bGood)
        printf("SaveOpmTunning Over!\r");
    snprintf(
        strText, sizeof(strText),
        bGood
            ? "TempNum = %d, DelNum = %d , k = %f, b = %f,  SaveOpmTunning Over!   GetApdCoefficient Success!"
            : "TempNum = %d, DelNum = %d,  k = %f, b = %f,  SaveOpmTunning Over!  GetApdCoefficient Failed!",
        pPara->iNum, iDeleted, static_cast<double>(*pk), static_cast<double>(*pb));
    ShowAndLog(strText);
    if (bGood)
        printf("k = %f, b = %f\n", static_cast<double>(*pk), static_cast<double>(*pb));
    free(pApd_Para);
    if (bGood)
        printf("---------free pApd_Para-----------");
}

void ChangeOpmTunning(uint16_t ibreakvoltage, float ftemp, float k) {
    if (ibreakvoltage < LEAST_BREAK) {
        // A full-width comma (GB2312) between the halves.
        printf(
            "BreakVoltage is too small"
            "\xa3\xac"
            "Set Apd Failed! \r\n ");
        return;
    }
    pOpmTunning->iTemperatureSet = ftemp;
    for (int i = 0; i < APD_SETTINGS; ++i)
        pOpmTunning->iApdVoltageSet[i] = ibreakvoltage - changvalue[i];
    pOpmTunning->iApdVoltageSet[APD_SETTINGS] = 0;
    for (float& fCoefficient : pOpmTunning->fTempCoefficient)
        fCoefficient = k;
}
