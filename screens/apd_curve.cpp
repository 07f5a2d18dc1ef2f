#include "screens/apd_curve.h"

#include <stdio.h>

#include "gui/guidraw.h"

int iDrawX[APD_DRAW_MAX] = {};
int iDrawY[APD_DRAW_MAX] = {};
static_assert(APD_BREAK_MAX <= APD_DRAW_MAX, "room for every sample");

// 0 to 80 degrees Celsius lie from x 43 to 672, APD codes 2000 to 4000 from y 281 up to 56.
static int TraceX(float fTemp) {
    return static_cast<int>(static_cast<double>(fTemp) / 80.0 * 629.0 + 43.0);
}

static int TraceY(uint16_t usVolt) {
    return 281 - static_cast<int>((usVolt - 2000.0) / 2000.0 * 225.0);
}

static void PrintPoint(int i) {
    printf("--------------iDrawX[%d] = %d----iDrawY[%d] = %d-------------\n", i, iDrawX[i], i, iDrawY[i]);
}

// What lies off the screen is not drawn.
static void DrawPoint(int x, int y) {
    DrawBlock(static_cast<unsigned>(x - 1), static_cast<unsigned>(y - 1), static_cast<unsigned>(x + 1),
              static_cast<unsigned>(y + 1));
}

static void DrawSegment(int iFrom) {
    DrawLine(static_cast<unsigned>(iDrawX[iFrom]), static_cast<unsigned>(iDrawY[iFrom]),
             static_cast<unsigned>(iDrawX[iFrom + 1]), static_cast<unsigned>(iDrawY[iFrom + 1]));
}

void DrawApdCurve(const APD_BREAK_PARA& Para) {
    const int iCount = Para.iNum < APD_BREAK_MAX ? Para.iNum : APD_BREAK_MAX;
    for (int i = 0; i < iCount; ++i) {
        iDrawX[i] = TraceX(Para.fTemp[i]);
        iDrawY[i] = TraceY(Para.iVolt[i]);
        DrawPoint(iDrawX[i], iDrawY[i]);
        PrintPoint(i);
    }
    for (int i = 0; i < iCount - 1; ++i) {
        DrawSegment(i);
        PrintPoint(i);
    }
}
