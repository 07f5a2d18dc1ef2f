#include "device/fpga.h"

#include <fcntl.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "device/opm_map.h"

char cFpgaFileName[FPGA_FILE_NAME_SIZE];

// Copies an open bitstream into the loader in blocks of 1024 bytes. Returns 0, or -1 when a block is not read
// or taken.
static int CopyBitstream(int iFileFd, int iLoaderFd) {
    uint8_t ucBlock[1024] = {};
    for (;;) {
        const ssize_t iCount = read(iFileFd, ucBlock, sizeof(ucBlock));
        if (iCount == 0)
            return 0;
        if (iCount < 0 || write(iLoaderFd, ucBlock, static_cast<size_t>(iCount)) < 0)
            return -1;
    }
}

int fpga_init(const char* path) {
    struct stat FileStat = {};
    if (path == nullptr)
        return -1;
    if (stat(path, &FileStat) != 0) {
        perror("stat");
        return -1;
    }
    const int iLoaderFd = open("/dev/fpga0", O_WRONLY | O_CLOEXEC);
    if (iLoaderFd < 0) {
        perror("fpga open()");
        return -2;
    }
    uint32_t uiSize = static_cast<uint32_t>(FileStat.st_size);  // the driver takes 32 bits
    if (ioctl(iLoaderFd, FPGA_IOC_CONFIG_SIZE, &uiSize) != 0) {
        perror("iotcl()");
        return -3;
    }
    const int iFileFd = open(path, O_RDONLY | O_CLOEXEC);
    if (iFileFd < 0) {
        perror("bin open()");
        return -4;
    }
    if (CopyBitstream(iFileFd, iLoaderFd) != 0) {
        close(iFileFd);
        return -5;
    }
    printf("write done\n");
    close(iFileFd);
    if (ioctl(iLoaderFd, FPGA_IOC_CONFIG_END) != 0) {
        perror("ioctl");
        return -6;
    }
    close(iLoaderFd);
    return 0;
}

// A board strap, a GPIO of sysfs: the commands that export it, make it an input and read it, and its line in
// the log.
struct BOARD_STRAP {
    const char* pExport;
    const char* pDirection;
    const char* pValue;
    const char* pLine;
};
static const BOARD_STRAP BoardStraps[] = {
    {"echo 72 > /sys/class/gpio/export", "echo in > /sys/class/gpio/gpio72/direction",
     "cat /sys/class/gpio/gpio72/value", "PB8 = %s\n"},
    {"echo 73 > /sys/class/gpio/export", "echo in > /sys/class/gpio/gpio73/direction",
     "cat /sys/class/gpio/gpio73/value", "PB9 = %s\n"},
    {"echo 91 > /sys/class/gpio/export", "echo in > /sys/class/gpio/gpio91/direction",
     "cat /sys/class/gpio/gpio91/value", "PB27 = %s\n"},
};
constexpr size_t STRAP_COUNT = sizeof(BoardStraps) / sizeof(BoardStraps[0]);

// Bitstream by strap levels; null: any level. The first row that matches decides.
struct FPGA_VARIANT {
    const char* pLevels[STRAP_COUNT];
    const char* pFile;
};
static const FPGA_VARIANT FpgaVariants[] = {
    {{"0", "0", "1"}, "/app/fct/k905fpga_LAT_LFE5U-45F.bit"},     // Lattice LFE5U-45F
    {{"1", "0", "0"}, "/app/fct/k905fpga_XIN_LX16.bin"},          // Xilinx LX16
    {{nullptr, "1", nullptr}, "/app/fct/k905fpga_XIN_LX25.bin"},  // Xilinx LX25
};

// Reads one strap as text, "0" or "1" ("" when nothing comes). Returns false when the pipe does not open.
static bool ReadStrap(const BOARD_STRAP& Strap, char (&cLevel)[2]) {
    (void)!system(Strap.pExport);
    (void)!system(Strap.pDirection);
    FILE* pPipe = popen(Strap.pValue, "r");
    if (pPipe == nullptr)
        return false;
    if (fgets(cLevel, sizeof(cLevel), pPipe) == nullptr)
        cLevel[0] = '\0';
    printf(Strap.pLine, cLevel);
    pclose(pPipe);
    return true;
}

static bool Matches(const FPGA_VARIANT& Variant, const char (&cLevels)[STRAP_COUNT][2]) {
    for (size_t i = 0; i < STRAP_COUNT; ++i) {
        if (Variant.pLevels[i] != nullptr && strcmp(Variant.pLevels[i], cLevels[i]) != 0)
            return false;
    }
    return true;
}

void GetFpgaVersion() {
    char cLevels[STRAP_COUNT][2] = {};
    for (size_t i = 0; i < STRAP_COUNT; ++i) {
        if (!ReadStrap(BoardStraps[i], cLevels[i]))
            return;
    }
    for (const FPGA_VARIANT& Variant : FpgaVariants) {
        if (Matches(Variant, cLevels)) {
            snprintf(cFpgaFileName, sizeof(cFpgaFileName), "%s", Variant.pFile);
            break;
        }
    }
    printf("\nfpga file name is %s\n\n", cFpgaFileName);
}
