#pragma once

#include <cstdio>
#include <string>
#include <vector>

// What the converters have in common: one result file that appears whole or not at all, and one way to give
// up.

// Writes the bytes to path through a neighbouring temporary file, so that a failure or a killed build never
// leaves a half-written asset behind. Returns false, with errno telling why, after removing the temporary
// file.
inline bool WriteWholeFile(const std::string& path, const std::vector<unsigned char>& bytes) {
    const std::string temporary = path + ".part";
    FILE* file = fopen(temporary.c_str(), "wb");
    if (file == nullptr)
        return false;
    bool good = fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
    good = fclose(file) == 0 && good;
    good = good && rename(temporary.c_str(), path.c_str()) == 0;
    if (!good)
        remove(temporary.c_str());
    return good;
}

// Appends a value of `size` bytes, least significant byte first.
inline void AppendLittleEndian(std::vector<unsigned char>& bytes, unsigned long value, unsigned size) {
    for (unsigned i = 0; i < size; i++)
        bytes.push_back(static_cast<unsigned char>(value >> 8 * i));
}
