// Every entry of the logarithm table against its definition, with the C library that ships.

#include <math.h>
#include <stdio.h>
#include <string.h>

#include "measure/numeric/numeric.h"

int main() {
    LogTableCreat();
    int iDifferent = LogSigTable[0] == 0.0f ? 0 : 1;
    for (int x = 1; x < LOG_SIG_SIZE; ++x) {
        const float fTold = 5.0f * log10f(static_cast<float>(x));
        if (memcmp(&fTold, &LogSigTable[x], sizeof(fTold)) == 0)
            continue;
        printf("entry %d: %a instead of %a\n", x, static_cast<double>(LogSigTable[x]),
               static_cast<double>(fTold));
        ++iDifferent;
    }
    return iDifferent == 0 ? 0 : 1;
}
