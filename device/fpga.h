// Loading of the FPGA and choice of its bitstream.
#pragma once

// Path of the bitstream chosen by GetFpgaVersion, "" until then. Whoever reloads the FPGA passes it to
// fpga_init.
constexpr int FPGA_FILE_NAME_SIZE = 512;
extern char cFpgaFileName[FPGA_FILE_NAME_SIZE];

// Loads the bitstream file into the FPGA. Returns 0, or -1 no such file (or null), -2 /dev/fpga0 does not
// open, -3 the size is refused, -4 the file does not open, -5 a block cannot be read or written, -6 the end
// of the configuration is refused; each but -5 is printed with its system error. Only success closes
// /dev/fpga0: after -3 to -6 the loader stays open for the life of the process.
int fpga_init(const char* path);

// Reads the three board straps and puts the path of this board's bitstream into cFpgaFileName; unknown
// straps, or a strap that cannot be read, leave it as it was.
void GetFpgaVersion();
