// Access to the FPGA's registers and samples through the optic driver.
#pragma once

#include <stddef.h>
#include <stdint.h>

// Argument of the register ioctls.
struct OPTARGUMENT {
    uint16_t usRegIndex;
    uint16_t usRegValue;
};
static_assert(sizeof(OPTARGUMENT) == 4, "the register ioctls carry four bytes");
static_assert(offsetof(OPTARGUMENT, usRegValue) == 2, "the value follows the index");

// Argument of the sample ioctl, in the natural layout of the processor the driver runs on.
struct OPTARG_DAT {
    int32_t iDataCnt;    // samples wanted
    uint16_t* pDataBuf;  // room for them
};
static_assert(offsetof(OPTARG_DAT, pDataBuf) == sizeof(void*), "the pointer follows the count");

// Open descriptors of the process, -1 while closed.
extern int opticFD;  // /dev/optic0, opened by OPMTestInit for the life of the process
extern int fpgaFD;   // /dev/fpga0; the loader keeps its own descriptor, so this one stays -1

// Issues one of the driver's ioctls (opm_map.h) and returns its result.
int opt_ioctl(int fd, uint32_t uiRequest, void* pArg);

// Read or write the register at FPGA byte address addr (opm_map.h). The low 16 bits of *rd_val go to the
// driver; afterwards *rd_val holds the 16 bits that the driver left: the value read, or the driver's echo of
// a write. So a variable does not keep what was written from it. Return the ioctl's result, 0 on success; -1
// for a null pointer.
int read_opt_reg(int fd, uint32_t addr, uint32_t* rd_val);
int write_opt_reg(int fd, uint32_t addr, uint32_t* wr_val);

// Fetch cnt samples of a finished acquisition into data. Returns the ioctl's result, 0 on success; -1 for
// null.
int opt_read_data(int fd, uint16_t* data, uint16_t cnt);

// One step of a register sequence: a value to write, or one of the two marks below, and the pause after it.
struct REG_STEP {
    uint32_t uiAddr;
    uint32_t uiValue;
    uint16_t usMsec;
};
constexpr uint32_t REG_ECHO = 0xffffffff;  // write what the driver left in the variable by the step before
constexpr uint32_t REG_READ = 0xfffffffe;  // read the register into the variable

// A stored code (of a record that may hold anything) as a step's value: what the register keeps of it, never
// one of the marks.
constexpr uint32_t RegCode(uint32_t uiStored) {
    return uiStored & 0xffff;
}

// Runs count steps in order on descriptor fd. A failing step does not end the sequence. Returns 0, or the
// result of the first step that failed; -1 for a null table.
int RunRegSequence(int fd, const REG_STEP* pSteps, size_t count);

template <size_t N>
static inline int RunRegSequence(int fd, const REG_STEP (&steps)[N]) {
    return RunRegSequence(fd, steps, N);
}
