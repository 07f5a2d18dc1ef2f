#include "gui/guibitmap.h"

#include <gtest/gtest.h>
#include <string.h>

#include "tests/gui/files_fixture.h"
#include "tests/gui/screen_fixture.h"
#include "tests/support/failing_calls.h"

using test::BmpFile;
using test::Bytes;
using test::Screen;
using test::TempFile;

namespace {

struct Bitmap {
    explicit Bitmap(const Bytes& content, unsigned x = 0, unsigned y = 0)
        : file(content), object(CreateBitmap(file.Path(), x, y)) {}
    explicit Bitmap(const BmpFile& content, unsigned x = 0, unsigned y = 0)
        : Bitmap(content.Content(), x, y) {}
    ~Bitmap() { DestroyBitmap(&object); }
    GUIBITMAP* operator->() const { return object; }
    // What LoadBitmapImage returns; nothing may stay open, and nothing loaded after a failure.
    int Load() const {
        const int before = test::FailingCalls::OpenDescriptors();
        const int result = LoadBitmapImage(object);
        EXPECT_EQ(object->iBitmapFd, -1);
        EXPECT_EQ(object->pBitmapImg != nullptr, result == 0);
        EXPECT_EQ(test::FailingCalls::OpenDescriptors(), before);
        return result;
    }
    uint8_t Data(unsigned i) const { return object->pBitmapImg->pImgData[i]; }
    TempFile file;
    GUIBITMAP* object;
};

// 24 bits; the pixel (x, row from the bottom) is 0xRRGGBB = 0x(row)(x)(row + x).
BmpFile Colours(unsigned width, unsigned height) {
    BmpFile file;
    file.width = width;
    file.height = height;
    for (unsigned row = 0; row < height; ++row) {
        Bytes pixels;
        for (unsigned x = 0; x < width; ++x)
            test::Append(&pixels, 3, row << 16 | x << 8 | ((row + x) & 0xFF));
        file.rows.push_back(pixels);
    }
    return file;
}

// Two rows of ten bits, black and white.
BmpFile Bits() {
    BmpFile file;
    file.width = 10;
    file.height = 2;
    file.bits = 1;
    file.table = {0x000000, 0xFFFFFF};
    file.rows = {{0x80, 0x40}, {0x0F, 0x80}};
    return file;
}

// Two rows of three indices.
BmpFile Indices() {
    BmpFile file;
    file.width = 3;
    file.height = 2;
    file.bits = 8;
    for (uint32_t i = 0; i < 256; ++i)
        file.table.push_back(i << 16 | (255 - i) << 8 | (i ^ 0x55));
    file.rows = {{1, 2, 3}, {253, 254, 255}};
    return file;
}

}  // namespace

TEST(Bitmap, TouchesNoFileWhenCreated) {
    GUIBITMAP* bitmap = CreateBitmap("/nonexistent/button.bmp", 3, 4);
    ASSERT_NE(bitmap, nullptr);
    EXPECT_STREQ(bitmap->strBitmapFile, "/nonexistent/button.bmp");
    EXPECT_EQ(bitmap->iBitmapFd, -1);
    EXPECT_EQ(bitmap->uiViewWidth, 0u);
    EXPECT_EQ(bitmap->uiViewHeight, 0u);
    EXPECT_EQ(bitmap->uiPlaceX, 3u);
    EXPECT_EQ(bitmap->uiPlaceY, 4u);
    EXPECT_EQ(bitmap->pBitmapImg, nullptr);
    EXPECT_EQ(LoadBitmapImage(bitmap), -3);
    EXPECT_EQ(DisplayBitmap(bitmap), -2);
    EXPECT_EQ(DestroyBitmap(&bitmap), 0);
    EXPECT_EQ(bitmap, nullptr);
}

TEST(Bitmap, RefusesNull) {
    GUIBITMAP* none = nullptr;
    EXPECT_EQ(CreateBitmap(nullptr, 0, 0), nullptr);
    EXPECT_EQ(LoadBitmapImage(nullptr), -1);
    EXPECT_EQ(ReadBitmapPalette(nullptr), nullptr);
    EXPECT_EQ(UnloadBitmapImage(nullptr), -1);
    EXPECT_EQ(SetBitmapView(1, 1, nullptr), -1);
    EXPECT_EQ(SetBitmapPlace(1, 1, nullptr), -1);
    EXPECT_EQ(DisplayBitmap(nullptr), -1);
    EXPECT_EQ(DestroyBitmap(nullptr), -1);
    EXPECT_EQ(DestroyBitmap(&none), -2);
    GUIBITMAP nameless = {nullptr, -1, 0, 0, 0, 0, nullptr};
    EXPECT_EQ(LoadBitmapImage(&nameless), -2);
    EXPECT_EQ(ReadBitmapPalette(&nameless), nullptr);
}

TEST(Bitmap, LoadsTwentyFourBitsTopRowFirstWithoutPadding) {
    const Bitmap bitmap(Colours(3, 2), 5, 6);
    ASSERT_EQ(bitmap.Load(), 0);
    const GUIIMAGE* image = bitmap->pBitmapImg;
    EXPECT_EQ(image->uiImgWidth, 3u);
    EXPECT_EQ(image->uiImgHeight, 2u);
    EXPECT_EQ(image->uiImgDepth, 24u);
    EXPECT_EQ(image->uiPlaceX, 5u);
    EXPECT_EQ(image->uiPlaceY, 6u);
    EXPECT_EQ(image->pRefPal, nullptr);
    const uint8_t expected[] = {1, 0, 1, 2, 1, 1, 3, 2, 1, 0, 0, 0, 1, 1, 0, 2, 2, 0};
    EXPECT_EQ(memcmp(image->pImgData, expected, sizeof(expected)), 0);
    EXPECT_EQ(bitmap->uiViewWidth, 3u);
    EXPECT_EQ(bitmap->uiViewHeight, 2u);
}

TEST(Bitmap, LoadsOneBitWithTheTablesColours) {
    BmpFile content = Bits();
    content.table = {0x102030, 0xA0B0C0};
    const Bitmap bitmap(content);
    ASSERT_EQ(bitmap.Load(), 0);
    EXPECT_EQ(bitmap->pBitmapImg->uiFgColor, 0xA0B0C0u);
    EXPECT_EQ(bitmap->pBitmapImg->uiBgColor, 0x102030u);
    EXPECT_EQ(bitmap->pBitmapImg->pRefPal, nullptr);
    EXPECT_EQ(bitmap.Data(0), 0x0F);
    EXPECT_EQ(bitmap.Data(1), 0x80);
    EXPECT_EQ(bitmap.Data(2), 0x80);
    EXPECT_EQ(bitmap.Data(3), 0x40);
}

TEST(Bitmap, LoadsEightBitsWithThePaletteOfTheFile) {
    const Bitmap bitmap(Indices());
    ASSERT_EQ(bitmap.Load(), 0);
    const GUIPALETTE* palette = bitmap->pBitmapImg->pRefPal;
    ASSERT_NE(palette, nullptr);
    EXPECT_EQ(palette->iPalLength, 256);
    for (int i = 0; i < 256; ++i) {
        EXPECT_EQ(palette->pRedValue[i], i);
        EXPECT_EQ(palette->pGreenValue[i], 255 - i);
        EXPECT_EQ(palette->pBlueValue[i], i ^ 0x55);
    }
    const uint8_t expected[] = {253, 254, 255, 1, 2, 3};
    EXPECT_EQ(memcmp(bitmap->pBitmapImg->pImgData, expected, sizeof(expected)), 0);
}

TEST(Bitmap, FindsItsRowsAtTheDataOffset) {
    BmpFile content = Indices();
    content.dataOffset = 54 + 1024 + 77;
    const Bitmap bitmap(content);
    ASSERT_EQ(bitmap.Load(), 0);
    EXPECT_EQ(bitmap.Data(0), 253);
}

TEST(Bitmap, AViewShowsTheBottomLeftCorner) {
    const Bitmap bitmap(Colours(100, 50));
    SetBitmapView(20, 10, bitmap.object);
    ASSERT_EQ(bitmap.Load(), 0);
    EXPECT_EQ(bitmap->pBitmapImg->uiImgWidth, 20u);
    EXPECT_EQ(bitmap->pBitmapImg->uiImgHeight, 10u);
    for (unsigned y = 0; y < 10; ++y) {
        for (unsigned x = 0; x < 20; ++x) {
            const unsigned pixel = (y * 20 + x) * 3;
            EXPECT_EQ(bitmap.Data(pixel + 2), 9 - y);
            EXPECT_EQ(bitmap.Data(pixel + 1), x);
        }
    }
}

TEST(Bitmap, AViewOfBitsOrIndicesKeepsTheBeginningOfEachRow) {
    const Bitmap bits(Bits());
    SetBitmapView(3, 1, bits.object);
    ASSERT_EQ(bits.Load(), 0);
    EXPECT_EQ(bits->pBitmapImg->uiImgWidth, 3u);
    EXPECT_EQ(bits.Data(0), 0x80);
    const Bitmap indices(Indices());
    SetBitmapView(2, 0, indices.object);
    ASSERT_EQ(indices.Load(), 0);
    const uint8_t expected[] = {253, 254, 1, 2};
    EXPECT_EQ(memcmp(indices->pBitmapImg->pImgData, expected, sizeof(expected)), 0);
}

TEST(Bitmap, AViewLargerThanThePictureIsReduced) {
    const Bitmap bitmap(Colours(7, 5));
    SetBitmapView(8, 1000, bitmap.object);
    ASSERT_EQ(bitmap.Load(), 0);
    EXPECT_EQ(bitmap->uiViewWidth, 7u);
    EXPECT_EQ(bitmap->uiViewHeight, 5u);
    EXPECT_EQ(bitmap->pBitmapImg->uiImgWidth, 7u);
    EXPECT_EQ(bitmap->pBitmapImg->uiImgHeight, 5u);
}

TEST(Bitmap, LoadsOnce) {
    const Bitmap bitmap(Bits());
    EXPECT_EQ(UnloadBitmapImage(bitmap.object), -2);
    EXPECT_EQ(LoadBitmapImage(bitmap.object), 0);
    EXPECT_EQ(LoadBitmapImage(bitmap.object), -2);
    EXPECT_EQ(UnloadBitmapImage(bitmap.object), 0);
    EXPECT_EQ(bitmap->pBitmapImg, nullptr);
    EXPECT_EQ(LoadBitmapImage(bitmap.object), 0);
}

TEST(Bitmap, ANewViewDropsTheImageAndANewPlaceMovesIt) {
    const Bitmap bitmap(Indices());
    ASSERT_EQ(bitmap.Load(), 0);
    EXPECT_EQ(SetBitmapPlace(8, 9, bitmap.object), 0);
    ASSERT_NE(bitmap->pBitmapImg, nullptr);
    EXPECT_EQ(bitmap->uiPlaceX, 8u);
    EXPECT_EQ(bitmap->pBitmapImg->uiPlaceX, 8u);
    EXPECT_EQ(bitmap->pBitmapImg->uiPlaceY, 9u);
    EXPECT_EQ(SetBitmapView(2, 1, bitmap.object), 0);
    EXPECT_EQ(bitmap->pBitmapImg, nullptr);
    ASSERT_EQ(bitmap.Load(), 0);
    EXPECT_EQ(bitmap->pBitmapImg->uiImgWidth, 2u);
    EXPECT_EQ(bitmap->pBitmapImg->uiPlaceX, 8u);
}

TEST(Bitmap, DisplaysAllDepths) {
    Screen screen(16, 61, 43);
    const Bitmap colours(Colours(9, 5), 3, 4);
    EXPECT_EQ(DisplayBitmap(colours.object), 0);
    for (unsigned y = 0; y < 5; ++y)
        for (unsigned x = 0; x < 9; ++x)
            screen.Put(3 + x, 4 + y, (4 - y) << 16 | x << 8 | (4 - y + x));
    const Bitmap bits(Bits(), 20, 20);
    EXPECT_EQ(DisplayBitmap(bits.object), 0);
    const char* rows[] = {"....#####.", "#........#"};
    for (unsigned y = 0; y < 2; ++y)
        for (unsigned x = 0; x < 10; ++x)
            screen.Put(20 + x, 20 + y, rows[y][x] == '#' ? 0xFFFFFF : 0);
    const Bitmap indices(Indices(), 40, 30);
    EXPECT_EQ(DisplayBitmap(indices.object), 0);
    const uint32_t expected[][3] = {{253, 254, 255}, {1, 2, 3}};
    for (unsigned y = 0; y < 2; ++y)
        for (unsigned x = 0; x < 3; ++x)
            screen.Put(40 + x, 30 + y,
                       expected[y][x] << 16 | (255 - expected[y][x]) << 8 | (expected[y][x] ^ 0x55));
    EXPECT_TRUE(screen.Matches());
}

TEST(Bitmap, StaysLoadedBetweenDisplays) {
    Screen screen(16, 61, 43);
    const Bitmap bitmap(Indices());
    EXPECT_EQ(DisplayBitmap(bitmap.object), 0);
    const test::FailingCalls calls(0);
    EXPECT_EQ(DisplayBitmap(bitmap.object), 0);
    EXPECT_EQ(calls.Count(), 0);
}

TEST(Bitmap, OffTheScreenFailsToDisplay) {
    Screen screen(16, 61, 43);
    const Bitmap bitmap(Indices(), 61, 0);
    EXPECT_EQ(DisplayBitmap(bitmap.object), -3);
    EXPECT_TRUE(screen.Untouched());
}

TEST(Bitmap, IsTriedAgainAfterAFailure) {
    Screen screen(16, 61, 43);
    const Bitmap bitmap(Bytes{});
    EXPECT_EQ(DisplayBitmap(bitmap.object), -2);
    EXPECT_TRUE(screen.Untouched());
    const_cast<TempFile&>(bitmap.file).Write(Colours(3, 2).Content());
    EXPECT_EQ(DisplayBitmap(bitmap.object), 0);
}

// ---- Bad files ----

TEST(BadBitmap, CutHeadersAreShort) {
    const Bytes whole = Colours(3, 2).Content();
    for (long length = 0; length < 54; ++length)
        EXPECT_EQ(Bitmap(Bytes(whole.begin(), whole.begin() + length)).Load(), -4) << length;
}

TEST(BadBitmap, OtherFormatsAreRefused) {
    BmpFile type = Colours(3, 2);
    type.type = 0x4D43;
    EXPECT_EQ(Bitmap(type).Load(), -5);
    for (uint32_t size : {0u, 12u, 39u, 108u, 124u}) {
        BmpFile info = Colours(3, 2);
        info.infoSize = size;
        EXPECT_EQ(Bitmap(info).Load(), -5) << size;
    }
    for (uint16_t bits : {0, 2, 4, 16, 32, 0x0118}) {
        BmpFile depth = Colours(3, 2);
        depth.bits = bits;
        EXPECT_EQ(Bitmap(depth).Load(), -5) << bits;
    }
    for (uint32_t compression : {1u, 2u, 3u}) {
        BmpFile packed = Indices();
        packed.compression = compression;
        EXPECT_EQ(Bitmap(packed).Load(), -5) << compression;
    }
}

TEST(BadBitmap, NegativeAndOversizedSidesAreRefused) {
    const uint32_t sizes[][2] = {{3, 0xFFFFFFFE},          {0xFFFFFFFD, 2}, {0x0AAAAAAB, 2},
                                 {0xFFFFFFFF, 0xFFFFFFFF}, {16385, 1},      {0x80000000, 0x80000000}};
    for (const auto& size : sizes) {
        BmpFile file = Colours(3, 2);
        file.width = size[0];
        file.height = size[1];
        EXPECT_EQ(Bitmap(file).Load(), -5) << size[0] << " x " << size[1];
        const Bitmap viewed(file);
        SetBitmapView(2, 2, viewed.object);
        EXPECT_EQ(viewed.Load(), -5) << size[0] << " x " << size[1];
    }
    BmpFile tall = Colours(3, 2);
    tall.height = 0x7FFFFFFF;
    EXPECT_EQ(Bitmap(tall).Load(), -6);
}

TEST(BadBitmap, EmptySidesAreRefused) {
    for (unsigned bits : {1u, 8u, 24u}) {
        BmpFile narrow = Indices();
        narrow.bits = static_cast<uint16_t>(bits);
        narrow.width = 0;
        EXPECT_EQ(Bitmap(narrow).Load(), -6);
        BmpFile low = Indices();
        low.bits = static_cast<uint16_t>(bits);
        low.height = 0;
        EXPECT_EQ(Bitmap(low).Load(), -6);
    }
}

TEST(BadBitmap, ACutColourTableIsRefused) {
    const Bytes whole = Indices().Content();
    for (long length : {54L, 57L, 54L + 1020, 54L + 1023})
        EXPECT_EQ(Bitmap(Bytes(whole.begin(), whole.begin() + length)).Load(), -7) << length;
    const Bytes bits = Bits().Content();
    EXPECT_EQ(Bitmap(Bytes(bits.begin(), bits.begin() + 54 + 7)).Load(), -7);
}

TEST(BadBitmap, MissingRowsRepeatTheLastOneAndStartAsZeros) {
    BmpFile content = Colours(3, 3);
    content.rows.pop_back();
    const Bitmap cut(content);
    ASSERT_EQ(cut.Load(), 0);
    EXPECT_EQ(memcmp(cut->pBitmapImg->pImgData, cut->pBitmapImg->pImgData + 9, 9), 0);
    EXPECT_EQ(cut.Data(9 + 2), 1);
    content.rows = {{1, 2, 3, 4}};
    const Bitmap scrap(content);
    ASSERT_EQ(scrap.Load(), 0);
    const uint8_t expected[9] = {1, 2, 3, 4};
    for (unsigned row = 0; row < 3; ++row)
        EXPECT_EQ(memcmp(scrap->pBitmapImg->pImgData + row * 9, expected, 9), 0) << row;
}

TEST(BadBitmap, RowsThatStartAtOrBeyondTheEndOfTheFileAreRefused) {
    for (const BmpFile& file : {Bits(), Indices(), Colours(3, 2)}) {
        const Bytes whole = file.Content();
        const uint32_t size = static_cast<uint32_t>(whole.size());
        for (uint32_t offset : {size - 1, size, size + 1, 100000u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
            Bytes content(whole.begin(), whole.begin() + 10);
            test::Append(&content, 4, offset);
            content.insert(content.end(), whole.begin() + 14, whole.end());
            EXPECT_EQ(Bitmap(content).Load(), offset < size ? 0 : -5) << offset << " of " << size;
        }
    }
}

TEST(BadBitmap, EveryFlippedHeaderByteIsLoadedOrRefusedCleanly) {
    for (const BmpFile& content : {Bits(), Indices(), Colours(3, 2)}) {
        for (size_t i = 0; i < 54; ++i) {
            for (uint8_t flip : {0x01, 0x80, 0xFF}) {
                Bytes bytes = content.Content();
                bytes[i] ^= flip;
                const Bitmap bitmap(bytes);
                SetBitmapView(64, 64, bitmap.object);
                const int result = bitmap.Load();
                EXPECT_TRUE(result == 0 || (result <= -4 && result >= -9)) << "byte " << i << ": " << result;
            }
        }
    }
}

// ---- Colour tables on their own ----

TEST(BitmapPalette, IsReadFromAFileOfItsOwn) {
    BmpFile four = Indices();
    four.bits = 4;
    const Bitmap bitmap(four);
    const int before = test::FailingCalls::OpenDescriptors();
    GUIPALETTE* palette = ReadBitmapPalette(bitmap.object);
    ASSERT_NE(palette, nullptr);
    EXPECT_EQ(palette->iPalLength, 16);
    EXPECT_EQ(palette->pRedValue[15], 15);
    EXPECT_EQ(palette->pGreenValue[15], 240);
    EXPECT_EQ(palette->pBlueValue[15], 0x5A);
    EXPECT_EQ(bitmap->iBitmapFd, -1);
    EXPECT_EQ(test::FailingCalls::OpenDescriptors(), before);
    DestroyPalette(&palette);
}

TEST(BitmapPalette, LeavesAnOpenDescriptorOpen) {
    const Bitmap bitmap(Indices());
    FILE* file = fopen(bitmap.file.Path(), "rb");
    bitmap->iBitmapFd = fileno(file);
    GUIPALETTE* palette = ReadBitmapPalette(bitmap.object);
    EXPECT_NE(palette, nullptr);
    EXPECT_EQ(bitmap->iBitmapFd, fileno(file));
    EXPECT_EQ(fclose(file), 0);
    bitmap->iBitmapFd = -1;
    DestroyPalette(&palette);
}

TEST(BitmapPalette, IsRefusedWhereThereIsNone) {
    BmpFile packed = Indices();
    packed.compression = 1;
    BmpFile wide = Indices();
    wide.infoSize = 124;
    BmpFile other = Indices();
    other.type = 0;
    for (const BmpFile& content : {Colours(3, 2), packed, wide, other}) {
        const Bitmap bitmap(content);
        EXPECT_EQ(ReadBitmapPalette(bitmap.object), nullptr);
        EXPECT_EQ(bitmap->iBitmapFd, -1);
    }
    GUIBITMAP* missing = CreateBitmap("/nonexistent/button.bmp", 0, 0);
    EXPECT_EQ(ReadBitmapPalette(missing), nullptr);
    DestroyBitmap(&missing);
}

// ---- Failing calls ----

TEST(Bitmap, CreationReleasesWhatItMadeWhereverItFails) {
    const int runs = test::FailEachCall(
        [] {
            GUIBITMAP* bitmap = CreateBitmap("a.bmp", 0, 0);
            return DestroyBitmap(&bitmap) == 0;
        },
        [](const char* name, bool succeeded) { EXPECT_FALSE(succeeded) << name; });
    EXPECT_EQ(runs, 2);
}

TEST(Bitmap, LoadingReleasesWhatItMadeWhereverItFails) {
    for (const BmpFile& content : {Bits(), Indices(), Colours(3, 2)}) {
        const Bitmap bitmap(content);
        const int before = test::FailingCalls::OpenDescriptors();
        int failures = 0;
        const int runs = test::FailEachCall(
            [&] {
                const int result = LoadBitmapImage(bitmap.object);
                EXPECT_EQ(bitmap->iBitmapFd, -1);
                EXPECT_EQ(UnloadBitmapImage(bitmap.object), result == 0 ? 0 : -2);
                return result == 0;
            },
            [&](const char* name, bool succeeded) {
                failures += succeeded ? 0 : 1;
                EXPECT_EQ(test::FailingCalls::OpenDescriptors(), before) << name;
            });
        // Failing reads of the two rows and the close are let through.
        EXPECT_EQ(runs, failures + 3);
        // Open; seek, headers; image; [seek, headers; palette; seek, table;] end; row; seek.
        EXPECT_EQ(failures, content.bits == 24 ? 9 : 16);
    }
}
