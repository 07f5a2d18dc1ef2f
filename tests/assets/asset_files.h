#pragma once

#include <cstdint>
#include <string>
#include <vector>

// Reading what the asset build made, and running its converters.

using Bytes = std::vector<unsigned char>;

// The whole file, or an empty vector when it cannot be read.
Bytes ReadFile(const std::string& path);

// The path of a file below app/fct of this build.
std::string AssetPath(const std::string& name);

// An unsigned number of `size` bytes, least significant first; 0 when the bytes end too early.
uint32_t LittleEndian(const Bytes& bytes, size_t offset, unsigned size);

// A 24-bit BMP, read by the rules of the format and by nothing that the converter shares.
struct Bmp {
    bool valid = false;  // plain: "BM", 40-byte header, one plane, 24 bits, no compression, complete
    unsigned width = 0, height = 0;
    std::vector<uint32_t> pixels;  // 0x00RRGGBB, top row first

    uint32_t At(unsigned x, unsigned y) const { return pixels[size_t{y} * width + x]; }
};
Bmp ReadBmp(const std::string& path);

// What a 16-bit display makes of a colour.
uint16_t Rgb565(uint32_t colour);

// A new directory that is removed with everything in it.
class ScratchDir {
  public:
    ScratchDir();
    ~ScratchDir();
    ScratchDir(const ScratchDir&) = delete;
    ScratchDir& operator=(const ScratchDir&) = delete;
    std::string operator/(const std::string& name) const { return path_ + "/" + name; }
    std::vector<std::string> Files() const;

  private:
    std::string path_;
};

struct RunResult {
    int status = -1;  // exit status, or -1 when the program did not exit
    std::string output;
};

// Runs a converter of this build with arguments that hold no shell syntax; output holds what it printed.
RunResult RunTool(const std::string& nameAndArguments);

void WriteFile(const std::string& path, const std::string& content);
