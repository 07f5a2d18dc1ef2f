#include "device/i2c_com.h"

#include "device/opm_map.h"
#include "device/opt_access.h"

uint8_t (*I2C_Action)(uint32_t uiAction) = nullptr;
uint8_t i2c_device_w = 0;
uint8_t i2c_device_r = 0;

constexpr uint8_t AT24C512_ADDRESS = 0x51;

// Changes bits of the output control register and keeps the others; without a good read there is nothing to
// keep them from, so nothing is written.
static void ChangeOutput(uint32_t uiMask, bool bHigh) {
    uint32_t uiValue = 0;
    if (read_opt_reg(opticFD, FPGA_CTRLOUT_REG, &uiValue) != 0)
        return;
    uiValue = bHigh ? uiValue | uiMask : uiValue & ~uiMask;
    write_opt_reg(opticFD, FPGA_CTRLOUT_REG, &uiValue);
}

static uint8_t SampleOutput(uint32_t uiMask) {
    uint32_t uiValue = 0;
    read_opt_reg(opticFD, FPGA_CTRLOUT_REG, &uiValue);
    return static_cast<uint8_t>(uiValue & uiMask);
}

uint8_t AT24C512_I2C_Action(uint32_t uiAction) {
    switch (uiAction) {
        case I2C_ACT_SELECT:
            i2c_device_w = AT24C512_ADDRESS << 1;
            i2c_device_r = AT24C512_ADDRESS << 1 | 1;
            return 0;
        case I2C_ACT_SDA_LOW:
        case I2C_ACT_SDA_HIGH:
            ChangeOutput(CTRLOUT_I2C_SDA, uiAction == I2C_ACT_SDA_HIGH);
            return 0;
        case I2C_ACT_SCL_LOW:
        case I2C_ACT_SCL_HIGH:
            ChangeOutput(CTRLOUT_I2C_SCL, uiAction == I2C_ACT_SCL_HIGH);
            return 0;
        case I2C_ACT_GET_SDA:
            return SampleOutput(CTRLOUT_I2C_SDA);
        case I2C_ACT_GET_SCL:
            return SampleOutput(CTRLOUT_I2C_SCL);
        default:
            return 0;
    }
}

void AT24C512_WriteProtect() {
    I2C_Action = AT24C512_I2C_Action;
    ChangeOutput(CTRLOUT_EEPROM_WP, true);
}

void AT24C512_Startup() {
    I2C_Action = AT24C512_I2C_Action;
    ChangeOutput(CTRLOUT_EEPROM_WP, false);
}

void I2C_Delay() {}

static uint8_t Act(I2C_ACTION eAction) {
    const uint8_t ucLine = I2C_Action == nullptr ? uint8_t{0} : I2C_Action(eAction);
    I2C_Delay();
    return ucLine;
}

static void SetSda(bool bHigh) {
    Act(bHigh ? I2C_ACT_SDA_HIGH : I2C_ACT_SDA_LOW);
}

void I2C_Start() {
    Act(I2C_ACT_SCL_LOW);
    SetSda(true);
    Act(I2C_ACT_SCL_HIGH);
    SetSda(false);
}

void I2C_Stop() {
    Act(I2C_ACT_SCL_LOW);
    SetSda(false);
    Act(I2C_ACT_SCL_HIGH);
    SetSda(true);
}

// One clock with SDA at the given level; SCL stays high.
static void ClockBit(bool bHigh) {
    Act(I2C_ACT_SCL_LOW);
    SetSda(bHigh);
    Act(I2C_ACT_SCL_HIGH);
}

void I2C_WriteCycle(uint8_t ucByte) {
    for (unsigned uiMask = 0x80; uiMask != 0; uiMask >>= 1)
        ClockBit((ucByte & uiMask) != 0);
    ClockBit(true);  // the device's acknowledge, not looked at
}

// Clocks one byte in and answers with an acknowledge when more bytes follow. SCL stays low.
static uint8_t ReadCycle(bool bMoreFollow) {
    unsigned uiByte = 0;
    SetSda(true);
    for (int iBit = 0; iBit < 8; ++iBit) {
        ClockBit(true);
        uiByte = uiByte << 1 | (Act(I2C_ACT_GET_SDA) != 0 ? 1 : 0);
    }
    ClockBit(!bMoreFollow);
    Act(I2C_ACT_SCL_LOW);
    return static_cast<uint8_t>(uiByte);
}

// Selects the device and sends its write address and the memory address.
static void SendAddress(int iAddrWidth, uint16_t usAddr) {
    Act(I2C_ACT_SELECT);
    I2C_Start();
    I2C_WriteCycle(i2c_device_w);
    if (iAddrWidth == 2)
        I2C_WriteCycle(static_cast<uint8_t>(usAddr >> 8));
    if (iAddrWidth == 1 || iAddrWidth == 2)
        I2C_WriteCycle(static_cast<uint8_t>(usAddr));
}

void I2C_ReadREG(int iAddrWidth, uint16_t iAddr, uint8_t* pData, int iDataLen) {
    if (pData == nullptr)
        return;
    SendAddress(iAddrWidth, iAddr);
    I2C_Start();
    I2C_WriteCycle(i2c_device_r);
    for (int i = 0; i < iDataLen; ++i)
        pData[i] = ReadCycle(i + 1 < iDataLen);
    I2C_Stop();
}

void I2C_WriteREG(int iAddrWidth, uint16_t address, const uint8_t* pdata, int iDataLen) {
    if (pdata == nullptr)
        return;
    SendAddress(iAddrWidth, address);
    for (int i = 0; i < iDataLen; ++i)
        I2C_WriteCycle(pdata[i]);
    I2C_Stop();
}
