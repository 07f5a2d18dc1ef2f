// hex2fnt OUT.fnt IN.hex...
//
// Turns fonts in Unifont's text form into the instrument's font format. A line of an input is a character
// code of four hexadecimal digits, a colon, and the rows of a glyph of 8 x 16 or 16 x 16 pixels, most
// significant bit leftmost. The output holds one 16 x 16 matrix for each of the 65536 codes: that of the last
// input which names the code; codes that none names, and the surrogates, are blank. Exit status 0, 1
// (refused, nothing written) or 2 (wrong call).

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <fstream>

#include "assets/output_file.h"

namespace {

constexpr unsigned glyphCount = 0x10000;
constexpr unsigned glyphRows = 16;
constexpr unsigned glyphSize = glyphRows * 2;
constexpr unsigned headerSize = 32;
constexpr unsigned narrowDigits = glyphRows * 2, wideDigits = glyphRows * 4;  // 8 and 16 pixels wide

// The value of `count` hexadecimal digits.
unsigned HexValue(const std::string& text, size_t start, size_t count) {
    return static_cast<unsigned>(std::stoul(text.substr(start, count), nullptr, 16));
}

std::vector<unsigned char> FontHeader() {
    std::vector<unsigned char> header{'.', 'F', 'N', 'T'};
    AppendLittleEndian(header, headerSize + glyphCount * glyphSize, 4);
    AppendLittleEndian(header, 1, 4);  // format
    AppendLittleEndian(header, 0, 2);  // one table for all codes,
    AppendLittleEndian(header, 0, 2);  // no segments
    AppendLittleEndian(header, 16, 4);
    AppendLittleEndian(header, glyphRows, 4);
    AppendLittleEndian(header, glyphCount, 4);
    AppendLittleEndian(header, headerSize, 4);
    return header;
}

// What is wrong with a line, or null.
const char* LineFault(const std::string& line, const std::vector<bool>& seen) {
    if (line.size() < 5 || line[4] != ':')
        return "not a code of four digits and a colon";
    const size_t digits = line.size() - 5;
    if (digits != narrowDigits && digits != wideDigits)
        return "the glyph has neither 32 nor 64 digits";
    for (size_t i = 0; i < line.size(); i++)
        if (i != 4 && !isxdigit(static_cast<unsigned char>(line[i])))
            return "not hexadecimal";
    if (seen[HexValue(line, 0, 4)])
        return "the code appears twice";
    return nullptr;
}

// Puts a glyph into its matrix, in place of any before it; a narrow one takes the left half.
void StoreGlyph(const std::string& line, std::vector<unsigned char>& font) {
    const unsigned code = HexValue(line, 0, 4);
    const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
    if (surrogate)
        return;
    const unsigned rowBytes = line.size() - 5 == wideDigits ? 2 : 1;
    unsigned char* matrix = &font[headerSize + size_t{code} * glyphSize];
    std::fill_n(matrix, glyphSize, static_cast<unsigned char>(0));
    for (unsigned row = 0; row < glyphRows; row++)
        for (unsigned byte = 0; byte < rowBytes; byte++)
            matrix[2 * row + byte] =
                static_cast<unsigned char>(HexValue(line, 5 + 2 * (row * rowBytes + byte), 2));
}

// Puts the glyphs of a file into the font. Says what is wrong, and returns false, when it is not a good one.
bool StoreGlyphs(const char* path, std::vector<unsigned char>& font) {
    std::ifstream input(path);
    if (!input) {
        fprintf(stderr, "hex2fnt: %s: %s\n", path, strerror(errno));
        return false;
    }
    std::vector<bool> seen(glyphCount);
    unsigned number = 0;
    for (std::string line; std::getline(input, line);) {
        number++;
        if (const char* fault = LineFault(line, seen)) {
            fprintf(stderr, "hex2fnt: %s:%u: %s\n", path, number, fault);
            return false;
        }
        seen[HexValue(line, 0, 4)] = true;
        StoreGlyph(line, font);
    }
    if (input.bad() || number == 0) {
        fprintf(stderr, "hex2fnt: %s: %s\n", path, input.bad() ? "cannot be read" : "holds no glyph");
        return false;
    }
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        fprintf(stderr, "usage: hex2fnt OUT.fnt IN.hex...\n");
        return 2;
    }
    std::vector<unsigned char> font = FontHeader();
    font.resize(headerSize + glyphCount * glyphSize);
    for (int i = 2; i < argc; i++)
        if (!StoreGlyphs(argv[i], font))
            return 1;
    if (!WriteWholeFile(argv[1], font)) {
        fprintf(stderr, "hex2fnt: %s: %s\n", argv[1], strerror(errno));
        return 1;
    }
    return 0;
}
