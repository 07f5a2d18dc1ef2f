// Font and BMP files of the tests' own making.
#pragma once

#include <gtest/gtest.h>
#include <stdint.h>
#include <stdio.h>
#include <unistd.h>

#include <string>
#include <vector>

namespace test {

using Bytes = std::vector<uint8_t>;

inline void Append(Bytes* bytes, unsigned count, uint32_t value) {
    for (unsigned i = 0; i < count; ++i)
        bytes->push_back(static_cast<uint8_t>(value >> (8 * i)));
}

// A file that lives as long as the object.
class TempFile {
  public:
    explicit TempFile(const Bytes& content = {}) {
        char name[] = "/tmp/gui_test_XXXXXX";
        const int fd = mkstemp(name);
        path_ = name;
        close(fd);
        Write(content);
    }
    ~TempFile() { unlink(path_.c_str()); }
    TempFile(const TempFile&) = delete;
    TempFile& operator=(const TempFile&) = delete;

    void Write(const Bytes& content) {
        FILE* file = fopen(path_.c_str(), "wb");
        ASSERT_NE(file, nullptr);
        if (!content.empty()) {
            EXPECT_EQ(fwrite(content.data(), 1, content.size(), file), content.size());
        }
        fclose(file);
    }
    const char* Path() const { return path_.c_str(); }

  private:
    std::string path_;
};

// A font file; every field may be set to a lie before Content() is taken.
struct FontFile {
    uint32_t type = 0x544E462E;
    uint32_t format = 1;
    uint16_t segmentFlag = 0;
    uint32_t width = 16;
    uint32_t height = 16;
    uint32_t count = 0;
    uint32_t dataOffset = 32;
    Bytes glyphs;

    // Adds a glyph drawn with '#' for ink; rows that are not given are blank.
    void Add(const std::vector<std::string>& rows) {
        const unsigned rowBytes = (width + 7) / 8;
        const size_t start = glyphs.size();
        glyphs.resize(start + rowBytes * height);
        for (size_t y = 0; y < rows.size(); ++y)
            for (size_t x = 0; x < rows[y].size(); ++x)
                if (rows[y][x] == '#')
                    glyphs[start + y * rowBytes + x / 8] |= static_cast<uint8_t>(0x80 >> x % 8);
        ++count;
    }
    Bytes Content() const {
        Bytes bytes;
        Append(&bytes, 4, type);
        Append(&bytes, 4, static_cast<uint32_t>(32 + glyphs.size()));
        Append(&bytes, 4, format);
        Append(&bytes, 2, segmentFlag);
        Append(&bytes, 2, 0);
        Append(&bytes, 4, width);
        Append(&bytes, 4, height);
        Append(&bytes, 4, count);
        Append(&bytes, 4, dataOffset);
        bytes.resize(bytes.size() < dataOffset && dataOffset < 1000 ? dataOffset : bytes.size());
        bytes.insert(bytes.end(), glyphs.begin(), glyphs.end());
        return bytes;
    }
};

// A BMP file of `height` rows given bottom row first, unpadded; every field may be set to a lie.
struct BmpFile {
    uint16_t type = 0x4D42;
    uint32_t infoSize = 40;
    uint32_t width = 0;
    uint32_t height = 0;
    uint16_t bits = 24;
    uint32_t compression = 0;
    uint32_t dataOffset = 0;  // 0: right after the colour table
    std::vector<uint32_t> table;
    std::vector<Bytes> rows;

    Bytes Content() const {
        Bytes bytes;
        const uint32_t offset = dataOffset != 0 ? dataOffset : static_cast<uint32_t>(54 + 4 * table.size());
        Append(&bytes, 2, type);
        Append(&bytes, 4, 0xDEADBEEF);  // not used
        Append(&bytes, 4, 0);
        Append(&bytes, 4, offset);
        Append(&bytes, 4, infoSize);
        Append(&bytes, 4, width);
        Append(&bytes, 4, height);
        Append(&bytes, 2, 1);
        Append(&bytes, 2, bits);
        Append(&bytes, 4, compression);
        for (int i = 0; i < 5; ++i)
            Append(&bytes, 4, 0x11111111);  // not used, the number of colours among them
        for (uint32_t color : table)
            Append(&bytes, 4, color | 0xEE000000);
        if (offset > bytes.size() && offset < 5000)
            bytes.resize(offset);
        for (const Bytes& row : rows) {
            bytes.insert(bytes.end(), row.begin(), row.end());
            bytes.resize(bytes.size() + (4 - row.size() % 4) % 4, 0x99);
        }
        return bytes;
    }
};

}  // namespace test
