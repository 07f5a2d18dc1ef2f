// The optical module's I2C bus, clocked by this program bit by bit through FPGA_CTRLOUT_REG; its EEPROM is an
// AT24C512. Each line change is a read-modify-write of the register, which also carries the visible light
// source: the two must not run at the same time. The acknowledge bit is never sampled.
#pragma once

#include <stdint.h>

// Actions on the lines, the argument of an action function.
enum I2C_ACTION : uint32_t {
    I2C_ACT_SELECT = 0,  // set i2c_device_w and i2c_device_r
    I2C_ACT_SDA_LOW = 1,
    I2C_ACT_SDA_HIGH = 2,
    I2C_ACT_SCL_LOW = 3,
    I2C_ACT_SCL_HIGH = 4,
    I2C_ACT_GET_SDA = 5,  // the register value & CTRLOUT_I2C_SDA
    I2C_ACT_GET_SCL = 6,  // the register value & CTRLOUT_I2C_SCL
};

// The action function in use; null, and the bus functions without effect, until one is installed.
extern uint8_t (*I2C_Action)(uint32_t uiAction);

// Address bytes of the selected device, for writing and reading.
extern uint8_t i2c_device_w;
extern uint8_t i2c_device_r;

// Action function of the module's EEPROM, 7-bit address 0x51. Returns the sampled line for the two GET
// actions, else 0.
uint8_t AT24C512_I2C_Action(uint32_t uiAction);

// Install AT24C512_I2C_Action and set, or clear (writes allowed), the EEPROM's write protection.
void AT24C512_WriteProtect();
void AT24C512_Startup();

// Pause between line changes: empty, the register accesses are slow enough.
void I2C_Delay();

// Start and stop condition.
void I2C_Start();
void I2C_Stop();

// Clocks one byte out, most significant bit first, and a ninth clock for the acknowledge. SCL stays high.
void I2C_WriteCycle(uint8_t ucByte);

// Read iDataLen bytes into pData, or write them from pdata, at a memory address of iAddrWidth bytes (2: high
// byte first, 1: low byte only, anything else: no address). No page splitting, no wait for the write cycle.
void I2C_ReadREG(int iAddrWidth, uint16_t iAddr, uint8_t* pData, int iDataLen);
void I2C_WriteREG(int iAddrWidth, uint16_t address, const uint8_t* pdata, int iDataLen);
