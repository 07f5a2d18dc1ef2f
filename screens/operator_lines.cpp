// Lines of screens that are not there: a text for a screen that is not shown changes nothing on the display.
#include "device/operator_report.h"

int FrmAdjustSetInfo(const char*) {
    return 0;
}

int FrmAdjustSetDataInfo(const char*, int) {
    return 0;
}

int FrmOPMSetInfo(const char*) {
    return 0;
}

int FrmApdAdjSetInfo1(const char*) {
    return 0;
}

int FrmApdAdjSetInfo2(const char*) {
    return 0;
}
