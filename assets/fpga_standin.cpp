// fpga_standin PART BYTES OUT
//
// Writes a stand-in for the configuration image of an FPGA: a text that says so, then bytes of a fixed random
// sequence. It has the weight of an image but configures nothing; the real images come with the instrument.
// The same arguments give the same bytes. Exit status 0, 1 (not written) or 2 (wrong call).

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "assets/output_file.h"

int main(int argc, char** argv) {
    const unsigned long size = argc == 4 ? strtoul(argv[2], nullptr, 10) : 0;
    if (size == 0) {
        fprintf(stderr, "usage: fpga_standin PART BYTES OUT\n");
        return 2;
    }
    const std::string text = "K905 FPGA image stand-in for " + std::string(argv[1]) +
                             ": no configuration of a real part, for the simulator only.\n";
    std::vector<unsigned char> image(text.begin(), text.end());
    uint32_t state = 2166136261;  // FNV-1a of the part's name, so that the parts' images differ
    for (const char* letter = argv[1]; *letter != 0; letter++)
        state = (state ^ static_cast<unsigned char>(*letter)) * 16777619;
    state |= 1;  // xorshift must not start from 0
    while (image.size() < size) {
        state ^= state << 13;
        state ^= state >> 17;
        state ^= state << 5;
        image.push_back(static_cast<unsigned char>(state >> 24));
    }
    image.resize(size);
    if (!WriteWholeFile(argv[3], image)) {
        fprintf(stderr, "fpga_standin: %s: %s\n", argv[3], strerror(errno));
        return 1;
    }
    return 0;
}
