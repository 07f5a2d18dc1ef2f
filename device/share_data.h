// State of the measurement-board link, shared by the serial connect toggles and the screens.
#pragma once

#include <stdint.h>

#include "gui/guibase.h"

struct ShareData {
    GUIMUTEX mutex;          // guards the fields below; the connect toggle holds it for the whole handshake
    uint16_t usIsConnect;    // 1 while the measurement board has answered and the port is held open, else 0
    uint16_t usCurrAnalog;   // loop that the last pressed button selects: 0 APD, 1 VDD, 2 ATT0, 3 ATT1, 4 all
    uint16_t usCurrWaveLen;  // wavelength index handed to the loop
    uint16_t usStart;        // 1 once a loop button was pressed
    uint16_t usDoneFlag;     // cleared when a connection attempt fails
};

// The one record of the process; its mutex is ready from the start of the program.
extern ShareData OPMGUIShare;
