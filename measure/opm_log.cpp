#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include "measure/common_opm.h"

float Gain[GAIN_ROWS][2];

// Longest line of OPMSaveData2File: 43 characters of the largest float, a blank, 8 digits, the newline and
// the zero.
constexpr size_t GAIN_LINE_SIZE = 54;

void FCT_LOG(const char* log) {
    if (log == nullptr)
        return;
    FILE* pFile = fopen("/mnt/sdcard/fct_log.txt", "a+");
    if (pFile == nullptr)
        return;
    fprintf(pFile, "%s\n", log);
    fclose(pFile);
}

void printToFile(const char* filePath, const char* text) {
    if (filePath == nullptr || text == nullptr)
        return;
    FILE* pFile = fopen(filePath, "a+");
    if (pFile == nullptr)
        return;
    fprintf(pFile, "%s", text);
    (void)!system("sync");  // before the close: what the stream still holds is not covered
    fclose(pFile);
}

// The whole number in a float, held within the range of the result.
static uint32_t ToUnsigned(float fValue) {
    if (!(fValue > 0.0f))
        return 0;
    return fValue < 4294967296.0f ? static_cast<uint32_t>(fValue) : UINT32_MAX;
}

int32_t OPMSaveData2File(int32_t fd, uint16_t j) {
    if (j >= GAIN_ROWS)
        return 0;
    char cLine[GAIN_LINE_SIZE] = "";
    const int iLength =
        snprintf(cLine, sizeof(cLine), "%5.2f %x\n", static_cast<double>(Gain[j][0]), ToUnsigned(Gain[j][1]));
    (void)!write(fd, cLine, static_cast<uint16_t>(iLength));
    return 0;
}
