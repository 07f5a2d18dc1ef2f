#include "screens/voltage_check.h"

#include <stdio.h>

bool VoltagePasses(const VOLTAGE_POINT& Point, float fValue) {
    return Point.fLow < fValue && fValue < Point.fHigh;
}

VOLTAGE_READING MeasureVoltage(const VOLTAGE_POINT& Point, const char* pFormat) {
    VOLTAGE_READING Reading = {NO_READING, 0, false, ""};
    Reading.iResult = OPMGetZhijuAdcValue(Point.Channel, ADCRANGE_2560MV, &Reading.fValue, nullptr,
                                          GET_ZHIJU_ADC_VALUE, SHORT_REPLY);
    Reading.bPass = VoltagePasses(Point, Reading.fValue);
    snprintf(Reading.strLine, sizeof(Reading.strLine), pFormat, Reading.bPass ? "OK" : "F.", Point.pName,
             static_cast<double>(Reading.fValue));
    return Reading;
}
