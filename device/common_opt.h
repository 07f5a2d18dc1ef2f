// Entrance to the instrument's measuring hardware: the optic driver and the FPGA, the measurement board's
// serial link, the optical module's registers, and the test start-up.
#pragma once

#include <stdint.h>

#include "device/fpga.h"
#include "device/opm_map.h"
#include "device/opm_registers.h"
#include "device/opm_status.h"
#include "device/opt_access.h"
#include "device/serial_link.h"

// Text buffer shared by the start-up, the measurements and the adjust screen's status line; one user at a
// time.
constexpr int AD_BUFFER_SIZE = 200;
extern signed char adBuffer[AD_BUFFER_SIZE];

// Last reading of ADC_CHANEL_TP1, volts.
extern float adcValue1;

// Brings the optical hardware up: kernel modules, FPGA, optic driver, tuning record, first register values,
// logarithm table. Runs once, before the first screen. Returns 0; OPM_ERR_DEV_OPEN when the optic driver does
// not open; otherwise the driver's result for the write that clears OPM_ACQ_32_REG.
int32_t OPMTestInit();

// Leaves the module safe at the end of the program, whatever it was doing: APD at rest, VDD and the lasers'
// control as the start-up writes them, visible light off; then closes the optic driver. Called when no other
// thread uses the module any more; without an open driver nothing happens.
void OPMTestEnd();
