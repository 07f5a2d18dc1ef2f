#include "device/Opm.h"

#include <errno.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "device/operator_report.h"
#include "device/opm_map.h"
#include "device/opt_access.h"
#include "gui/guibase.h"

OPM_TUNING cOpmTunning = {
    1280, 1024, {1536, 1360, 1360, 1360}, {2064, 0, 0, 0}, 0.0f, {}, {}, 0,
};
POPM_TUNING pOpmTunning = &cOpmTunning;

// How a value of the record is shown.
enum TUNING_SHOW {
    SHOW_CODE,     // unsigned, low 16 bits
    SHOW_WORD,     // all 32 bits
    SHOW_FLOAT,    // float as it is
    SHOW_DEGREES,  // float as an integer, low 16 bits
};

// One value of the record, or a numbered run of values whose text takes the number first.
struct TUNING_FIELD {
    TUNING_SHOW eShow;
    int iCount;
    size_t iOffset;
    const char* pText;
};

static const TUNING_FIELD ConsoleFields[] = {
    {SHOW_CODE, 1, offsetof(OPM_TUNING, iAtt0), "pOpmTunning->iAtt0=%04x"},
    {SHOW_CODE, 1, offsetof(OPM_TUNING, iAtt1), "pOpmTunning->iAtt1=%04x"},
    {SHOW_CODE, 4, offsetof(OPM_TUNING, iVddValue), "pOpmTunning->iVddValue[%d]=%04x"},
    {SHOW_CODE, 6, offsetof(OPM_TUNING, iApdVoltageSet), "pOpmTunning->iApdVoltage[%d]=%04x"},
    {SHOW_CODE, 4, offsetof(OPM_TUNING, iApdBias), "pOpmTunning->iApdBias[%d]=%04x"},
    {SHOW_FLOAT, 6, offsetof(OPM_TUNING, fTempCoefficient), "pOpmTunning->fTempCoefficient[%d]=%f"},
    {SHOW_FLOAT, 1, offsetof(OPM_TUNING, iTemperatureSet), "pOpmTunning->iTemperatureSet=%f"},
};

static const TUNING_FIELD ScreenFields[] = {
    {SHOW_CODE, 1, offsetof(OPM_TUNING, iAtt0), "pOpmTunning->iAtt0=%04x"},
    {SHOW_CODE, 1, offsetof(OPM_TUNING, iAtt1), "pOpmTunning->iAtt1=%04x"},
    {SHOW_CODE, 4, offsetof(OPM_TUNING, iVddValue), "pOpmTunning->iVdd%d =%04x"},
    {SHOW_CODE, 4, offsetof(OPM_TUNING, iApdBias), "pOpmTunning->iApdBias%d =%04x"},
    {SHOW_DEGREES, 1, offsetof(OPM_TUNING, iTemperatureSet), "pOpmTunning->iTemperatureSet=%04x"},
    {SHOW_CODE, 6, offsetof(OPM_TUNING, iApdVoltageSet), "pOpmTunning->iApdVoltageSet%d =%04x"},
    {SHOW_FLOAT, 6, offsetof(OPM_TUNING, fTempCoefficient), "pOpmTunning->fTempCoefficient%d =%5.2f"},
    {SHOW_WORD, 1, offsetof(OPM_TUNING, OffsetPoint), "pOpmTunning->OffsetPoint =%04x"},
};

// Low 16 bits of the degrees as an integer; 0 where a damaged record holds what no integer can.
static uint16_t WholeDegrees(float fDegrees) {
    const bool bInteger = fDegrees >= -2147483648.0f && fDegrees < 2147483648.0f;
    return bInteger ? static_cast<uint16_t>(static_cast<int32_t>(fDegrees)) : uint16_t{0};
}

// Formats value i of a field into pText.
static void FormatField(const TUNING_FIELD& Field, int i, char* pText, size_t iSize) {
    const size_t iOffset = Field.iOffset + sizeof(uint32_t) * static_cast<size_t>(i);
    const uint8_t* pValue = reinterpret_cast<const uint8_t*>(pOpmTunning) + iOffset;
    uint32_t uiValue = 0;
    float fValue = 0.0f;
    memcpy(&uiValue, pValue, sizeof(uiValue));
    memcpy(&fValue, pValue, sizeof(fValue));
    if (Field.eShow == SHOW_DEGREES)
        uiValue = WholeDegrees(fValue);
    else if (Field.eShow == SHOW_CODE)
        uiValue &= 0xffff;
    const bool bNumbered = Field.iCount > 1;
    if (Field.eShow == SHOW_FLOAT && bNumbered)
        snprintf(pText, iSize, Field.pText, i, static_cast<double>(fValue));
    else if (Field.eShow == SHOW_FLOAT)
        snprintf(pText, iSize, Field.pText, static_cast<double>(fValue));
    else if (bNumbered)
        snprintf(pText, iSize, Field.pText, i, uiValue);
    else
        snprintf(pText, iSize, Field.pText, uiValue);
}

// Formats the value that is number iLine of all values of the table. Returns false when there are fewer.
template <size_t N>
static bool FormatLine(const TUNING_FIELD (&Fields)[N], int iLine, char* pText, size_t iSize) {
    for (const TUNING_FIELD& Field : Fields) {
        if (iLine < Field.iCount) {
            FormatField(Field, iLine, pText, iSize);
            return true;
        }
        iLine -= Field.iCount;
    }
    return false;
}

int FormatTuningLine(int iLine, char* pText, size_t iSize) {
    if (pText == nullptr || iLine < 0)
        return -1;
    return FormatLine(ScreenFields, iLine, pText, iSize) ? 0 : -1;
}

static ssize_t ReadRecord(OPM_TUNING* pRecord) {
    return read(opticFD, pRecord, sizeof(*pRecord));
}

static ssize_t WriteRecord(OPM_TUNING* pRecord) {
    return write(opticFD, pRecord, sizeof(*pRecord));
}

// Moves the record from or to offset 0 of the driver. What a signal broke off, before the first byte or after
// some, is done anew from the beginning. Returns the result of the last call.
static ssize_t TransferRecord(ssize_t (*fnTransfer)(OPM_TUNING* pRecord), OPM_TUNING* pRecord) {
    constexpr int TRIES = 100;  // at the end of the program the signals come every few milliseconds
    ssize_t iMoved = 0;
    bool bBrokenOff = true;
    for (int i = 0; i < TRIES && bBrokenOff; ++i) {
        iMoved = lseek(opticFD, 0, SEEK_SET) < 0 && errno == EINTR ? -1 : fnTransfer(pRecord);
        bBrokenOff = iMoved < 0 ? errno == EINTR : iMoved > 0 && iMoved < ssize_t{sizeof(*pRecord)};
    }
    return iMoved;
}

void GetOpmTunning() {
    OPM_TUNING Stored = *pOpmTunning;
    if (TransferRecord(ReadRecord, &Stored) > 0)
        *pOpmTunning = Stored;
    // GBK: "initial tuning parameters", as wide as the closing line.
    printf("***********\xb3\xf5\xca\xbc\xb5\xf7\xd0\xb3\xb2\xce\xca\xfd***********\n");
    char cText[128] = "";
    for (int i = 0; FormatLine(ConsoleFields, i, cText, sizeof(cText)); ++i)
        printf("%s\n", cText);
    printf("**********************************\n");
}

void SaveOpmTunning() {
    TransferRecord(WriteRecord, pOpmTunning);
}

int GetOpmTemperature(int iOpmFd, float* pTemperature) {
    if (pTemperature == nullptr)
        return -1;
    int32_t iMilliDegrees = 0;
    const int iErr = opt_ioctl(iOpmFd, OPTIC_IOC_TEMPERATURE, &iMilliDegrees);
    if (iErr < 0) {
        printf("%s: get opm temperature failed! iErr = %d\n", __func__, iErr);
        FrmApdAdjSetInfo1("get opm temperature failed!");
        return -1;
    }
    const float fTemperature = static_cast<float>(iMilliDegrees) / 1000.0f;
    char cText[64] = "";
    snprintf(cText, sizeof(cText), "temperature=%f", static_cast<double>(fTemperature));
    printf("%s:temperature=%f\n", __func__, static_cast<double>(fTemperature));
    FrmApdAdjSetInfo1(cText);
    *pTemperature = fTemperature;
    return iErr;
}

int OPMSaveData2E2PROM() {
    SaveOpmTunning();
    GetOpmTunning();
    // The offset point is not among the values shown here.
    char cText[128] = "";
    for (int i = 0; i < TUNING_LINES - 1 && FormatTuningLine(i, cText, sizeof(cText)) == 0; ++i) {
        FrmAdjustSetInfo(cText);
        MsecSleep(1000);
    }
    static const REG_STEP RestStep[] = {{FPGA_CTRLOUT_REG, CTRLOUT_REST, 0}};
    RunRegSequence(opticFD, RestStep);
    return 0;
}
