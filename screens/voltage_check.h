// Supply voltages against their bands: what the voltage checks of the main board and of the module share.
#pragma once

#include <stdint.h>

#include "device/serial_link.h"

struct VOLTAGE_POINT {
    AdcChanel Channel;
    const char* pName;  // of the test point, as shown
    float fLow;         // volts; a reading of a limit itself fails
    float fHigh;
};

bool VoltagePasses(const VOLTAGE_POINT& Point, float fValue);

struct VOLTAGE_READING {
    float fValue;     // volts; NO_READING without a reply
    int32_t iResult;  // of the request, codes of OPMGetZhijuAdcValue
    bool bPass;
    char strLine[80];  // made with the format: "OK" or "F.", the name, the volts
};
VOLTAGE_READING MeasureVoltage(const VOLTAGE_POINT& Point, const char* pFormat);
