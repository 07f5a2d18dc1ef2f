// The samples of an APD calibration as a curve on the APD adjust screen.
#pragma once

#include "measure/apd.h"

// Screen coordinates of the samples that were plotted last.
constexpr int APD_DRAW_MAX = 100;
extern int iDrawX[APD_DRAW_MAX];
extern int iDrawY[APD_DRAW_MAX];

// Plots the samples into the trace area with the current pen, and prints their coordinates.
void DrawApdCurve(const APD_BREAK_PARA& Para);
