#include "tests/assets/asset_files.h"

#include <stdlib.h>
#include <sys/wait.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>

Bytes ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    const std::string bytes = content.str();
    return Bytes(bytes.begin(), bytes.end());
}

void WriteFile(const std::string& path, const std::string& content) {
    std::ofstream(path, std::ios::binary) << content;
}

std::string AssetPath(const std::string& name) {
    return K905_BINARY_DIR "/app/fct/" + name;
}

uint32_t LittleEndian(const Bytes& bytes, size_t offset, unsigned size) {
    uint32_t value = 0;
    if (offset + size <= bytes.size())
        for (unsigned i = size; i-- > 0;)
            value = value << 8 | bytes[offset + i];
    return value;
}

Bmp ReadBmp(const std::string& path) {
    const Bytes file = ReadFile(path);
    Bmp bmp;
    const size_t start = LittleEndian(file, 10, 4);
    bmp.width = LittleEndian(file, 18, 4);
    bmp.height = LittleEndian(file, 22, 4);
    const size_t rowSize = (size_t{bmp.width} * 3 + 3) / 4 * 4;
    bmp.valid = LittleEndian(file, 0, 2) == 0x4D42 && LittleEndian(file, 2, 4) == file.size() &&
                start == 54 && LittleEndian(file, 14, 4) == 40 && bmp.height < 0x8000 &&
                LittleEndian(file, 26, 2) == 1 && LittleEndian(file, 28, 2) == 24 &&
                LittleEndian(file, 30, 4) == 0 && file.size() == start + rowSize * bmp.height;
    if (!bmp.valid)
        return bmp;
    for (unsigned y = 0; y < bmp.height; y++)
        for (unsigned x = 0; x < bmp.width; x++)
            bmp.pixels.push_back(
                LittleEndian(file, start + (bmp.height - 1 - y) * rowSize + size_t{x} * 3, 3));
    return bmp;
}

uint16_t Rgb565(uint32_t colour) {
    return static_cast<uint16_t>((colour >> 8 & 0xF800) | (colour >> 5 & 0x07E0) | (colour >> 3 & 0x001F));
}

ScratchDir::ScratchDir() {
    char name[] = "/tmp/k905-assets-XXXXXX";
    if (mkdtemp(name) == nullptr)
        abort();
    path_ = name;
}

ScratchDir::~ScratchDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::vector<std::string> ScratchDir::Files() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(path_))
        names.push_back(entry.path().filename());
    return names;
}

RunResult RunTool(const std::string& nameAndArguments) {
    RunResult result;
    FILE* pipe = popen((K905_TOOL_DIR "/" + nameAndArguments + " 2>&1").c_str(), "r");
    if (pipe == nullptr)
        return result;
    char buffer[512];
    for (size_t count = 0; (count = fread(buffer, 1, sizeof buffer, pipe)) > 0;)
        result.output.append(buffer, count);
    const int status = pclose(pipe);
    if (WIFEXITED(status))
        result.status = WEXITSTATUS(status);
    return result;
}
