#include <gmock/gmock.h>
#include <png.h>

#include <algorithm>
#include <cstdint>

#include "tests/assets/asset_files.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

// Writes colours 0xAARRGGBB, top row first, as a PNG.
void WritePng(const std::string& path, unsigned width, const std::vector<uint32_t>& colours) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = width;
    image.height = static_cast<png_uint_32>(colours.size()) / width;
    image.format = PNG_FORMAT_RGBA;
    Bytes rgba;
    for (uint32_t colour : colours)
        for (int shift : {16, 8, 0, 24})
            rgba.push_back(static_cast<unsigned char>(colour >> shift));
    ASSERT_TRUE(png_image_write_to_file(&image, path.c_str(), 0, rgba.data(), 0, nullptr)) << image.message;
}

class Png2Bmp : public testing::Test {
  protected:
    ScratchDir dir;
    const std::string png = dir / "in.png", bmp = dir / "out.bmp";

    RunResult Convert(const char* size) { return RunTool("png2bmp " + png + " " + bmp + " " + size); }

    // The converter exits with 1, names the file and the cause, and leaves nothing beside its input.
    void ExpectRefused(const char* size, const std::string& cause) {
        const RunResult run = Convert(size);
        EXPECT_EQ(run.status, 1);
        EXPECT_THAT(run.output, HasSubstr(png));
        EXPECT_THAT(run.output, HasSubstr(cause));
        EXPECT_THAT(dir.Files(), ElementsAre("in.png"));
    }
};

TEST_F(Png2Bmp, KeepsEveryPixelInItsPlace) {
    WritePng(png, 3, {0xFF102030, 0xFF405060, 0xFF708090, 0xFFA0B0C0, 0xFFD0E0E8, 0xFF112233});
    ASSERT_EQ(Convert("3 2").status, 0);
    const Bmp picture = ReadBmp(bmp);
    ASSERT_TRUE(picture.valid);
    EXPECT_EQ(picture.width, 3u);
    EXPECT_THAT(picture.pixels, ElementsAre(0x102030, 0x405060, 0x708090, 0xA0B0C0, 0xD0E0E8, 0x112233));
    EXPECT_THAT(dir.Files(), UnorderedElementsAre("in.png", "out.bmp"));
}

TEST_F(Png2Bmp, RefusesAnotherSize) {
    WritePng(png, 2, {0xFF102030, 0xFF405060});
    ExpectRefused("2 2", "is 2 x 1, not 2 x 2");
}

TEST_F(Png2Bmp, RefusesATransparentPixel) {
    WritePng(png, 2, {0xFF102030, 0xFF102030, 0xFF102030, 0xFE102030});
    ExpectRefused("2 2", "pixel 1,1 is transparent");
}

TEST_F(Png2Bmp, RefusesATruncatedPng) {
    std::vector<uint32_t> noise;
    for (uint32_t i = 0; i < 4096; i++)
        noise.push_back(0xFF404040 | (i * 2654435761u & 0x3F3F3F));
    WritePng(png, 64, noise);
    const Bytes whole = ReadFile(png);
    for (size_t size : {size_t{0}, size_t{7}, size_t{20}, size_t{40}, whole.size() / 2, whole.size() - 13}) {
        WriteFile(png, std::string(whole.begin(), whole.begin() + static_cast<long>(size)));
        ExpectRefused("64 64", "png2bmp: ");
    }
}

TEST_F(Png2Bmp, RefusesADamagedPng) {
    WritePng(png, 2, {0xFF102030, 0xFF405060});
    Bytes bytes = ReadFile(png);
    bytes[bytes.size() - 20] ^= 0x10;  // in the picture's data or its check sum
    WriteFile(png, std::string(bytes.begin(), bytes.end()));
    ExpectRefused("2 1", "png2bmp: ");
}

TEST_F(Png2Bmp, RefusesWhatIsNoPng) {
    WriteFile(png, "<svg xmlns=\"http://www.w3.org/2000/svg\"/>");
    ExpectRefused("2 1", "PNG");
}

TEST_F(Png2Bmp, RefusesAMissingFile) {
    const RunResult run = Convert("2 1");
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.output, HasSubstr(png));
    EXPECT_THAT(dir.Files(), IsEmpty());
}

TEST_F(Png2Bmp, ReportsAnOutputThatCannotBeWritten) {
    WritePng(png, 1, {0xFF102030});
    const RunResult run = RunTool("png2bmp " + png + " " + (dir / "missing/out.bmp") + " 1 1");
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.output, HasSubstr("missing/out.bmp"));
}

TEST_F(Png2Bmp, ExplainsItselfWhenCalledWrongly) {
    const RunResult run = RunTool("png2bmp " + png);
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.output, HasSubstr("usage"));
}

struct InkCase {
    uint32_t pixel, ink;
};

class Png2BmpInk : public Png2Bmp, public testing::WithParamInterface<InkCase> {};

TEST_P(Png2BmpInk, IsRefusedByPlaceAndColour) {
    WritePng(png, 2,
             {0xFF102030, 0xFF102030, 0xFF102030, 0xFF102030, 0xFF000000 | GetParam().pixel, 0xFF102030});
    char pixel[32], ink[32];
    snprintf(pixel, sizeof pixel, "pixel 0,2 (0x%06X)", GetParam().pixel);
    snprintf(ink, sizeof ink, "text colour 0x%06X", GetParam().ink);
    ExpectRefused("2 3", pixel);
    ExpectRefused("2 3", ink);
}

// The exact colours, and the farthest ones that a 16-bit display shows alike.
INSTANTIATE_TEST_SUITE_P(Colours, Png2BmpInk,
                         testing::Values(InkCase{0xFFFFFF, 0xFFFFFF}, InkCase{0xF8FCF8, 0xFFFFFF},
                                         InkCase{0x3C3028, 0x3C3028}, InkCase{0x38332F, 0x3C3028},
                                         InkCase{0xF8A800, 0xF8A800}, InkCase{0xFFAB07, 0xF8A800},
                                         InkCase{0x000000, 0x000000}, InkCase{0x070307, 0x000000},
                                         InkCase{0x00FF00, 0x00FF00}, InkCase{0x07FC07, 0x00FF00},
                                         InkCase{0xFF0000, 0xFF0000}, InkCase{0xF80307, 0xFF0000}));

TEST_F(Png2Bmp, AcceptsTheNearestColoursThatShowDifferently) {
    WritePng(png, 6, {0xFFF7FFFF, 0xFF3C3428, 0xFFF7A800, 0xFF080000, 0xFF08FF00, 0xFFFF0400});
    EXPECT_EQ(Convert("6 1").status, 0);
}

class Face2Hex : public testing::Test {
  protected:
    ScratchDir dir;
    const std::string face = K905_FACE_DIR "/LiberationSans-Regular.ttf", hex = dir / "out.hex";

    std::string Draw(const std::string& size, const std::string& codes) {
        EXPECT_EQ(RunTool("face2hex " + face + " " + size + " " + codes + " " + hex).status, 0);
        const Bytes text = ReadFile(hex);
        return std::string(text.begin(), text.end());
    }
    void ExpectRefused(const std::string& file, const std::string& size, const std::string& codes,
                       const std::string& cause) {
        const RunResult run = RunTool("face2hex " + file + " " + size + " " + codes + " " + hex);
        EXPECT_EQ(run.status, 1);
        EXPECT_THAT(run.output, HasSubstr(file + ": " + cause));
        EXPECT_THAT(dir.Files(), IsEmpty());
    }
};

TEST_F(Face2Hex, DrawsEachCodeOnTheBaseLine) {
    EXPECT_EQ(Draw("12", "006C-006C"),
              "006C:0000000000000000000080008000800080008000800080008000800000000000\n");
}

// The bar hangs 3 rows below the base line, which has room for 2.
TEST_F(Face2Hex, MovesAGlyphThatReachesBelowTheMatrix) {
    EXPECT_EQ(Draw("12", "005F-005F"), "005F:" + std::string(60, '0') + "FE00\n");
}

TEST_F(Face2Hex, RefusesWhatItCannotDraw) {
    ExpectRefused(face, "12", "0041-007F", "007F is not in the face");
    ExpectRefused(face, "12", "4E2D-4E2D", "4E2D is not in the face");
    ExpectRefused(face, "40", "0041-0041", "0041 is larger than 16 x 16");
    ExpectRefused(dir / "missing.ttf", "12", "0041-0041", "not a font");
    ExpectRefused("/dev/null", "12", "0041-0041", "not a font");
}

TEST_F(Face2Hex, ReportsAnOutputThatCannotBeWritten) {
    const RunResult run = RunTool("face2hex " + face + " 12 0041-005A " + (dir / "missing/out.hex"));
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.output, HasSubstr("missing/out.hex"));
}

TEST_F(Face2Hex, ExplainsItselfWhenCalledWrongly) {
    for (const char* call : {"face2hex", "face2hex a 12 0041 out", "face2hex a x 0041-0041 out",
                             "face2hex a 0 0041-0041 out", "face2hex a 12 0042-0041 out"}) {
        const RunResult run = RunTool(call);
        EXPECT_EQ(run.status, 2) << call;
        EXPECT_THAT(run.output, HasSubstr("usage"));
    }
}

class Hex2Fnt : public testing::Test {
  protected:
    ScratchDir dir;
    const std::string hex = dir / "in.hex", fnt = dir / "out.fnt";
    const std::string narrow = std::string(30, '0') + "18", wide = std::string(60, '0') + "1248";

    RunResult Convert(const std::string& text) {
        WriteFile(hex, text);
        return RunTool("hex2fnt " + fnt + " " + hex);
    }

    void ExpectRefused(const std::string& text, const std::string& cause) {
        const RunResult run = Convert(text);
        EXPECT_EQ(run.status, 1) << text;
        EXPECT_THAT(run.output, HasSubstr(hex + cause));
        EXPECT_THAT(dir.Files(), ElementsAre("in.hex"));
    }
};

TEST_F(Hex2Fnt, PutsGlyphsInTheirPlaces) {
    ASSERT_EQ(Convert("0041:" + narrow + "\nFFfe:" + wide + "\n").status, 0);
    const Bytes font = ReadFile(fnt);
    ASSERT_EQ(font.size(), 32u + 65536 * 32);
    EXPECT_EQ(LittleEndian(font, 32 + 0x41 * 32 + 30, 2), 0x0018u);
    EXPECT_EQ(LittleEndian(font, 32 + 0xFFFE * 32 + 30, 2), 0x4812u);
    EXPECT_EQ(std::count(font.begin() + 32, font.end(), 0), 65536 * 32 - 3);
}

TEST_F(Hex2Fnt, TakesAGlyphFromTheLastFileThatHasIt) {
    WriteFile(dir / "base.hex", "0041:" + wide + "\n0042:" + wide + "\n");
    WriteFile(dir / "face.hex", "0041:" + narrow + "\n");
    ASSERT_EQ(RunTool("hex2fnt " + fnt + " " + (dir / "base.hex") + " " + (dir / "face.hex")).status, 0);
    const Bytes font = ReadFile(fnt);
    EXPECT_EQ(LittleEndian(font, 32 + 0x41 * 32 + 30, 2), 0x0018u);
    EXPECT_EQ(LittleEndian(font, 32 + 0x42 * 32 + 30, 2), 0x4812u);
    EXPECT_EQ(std::count(font.begin() + 32, font.end(), 0), 65536 * 32 - 3);
}

TEST_F(Hex2Fnt, LeavesSurrogatesBlank) {
    ASSERT_EQ(Convert("D7FF:" + narrow + "\nD800:" + narrow + "\nDFFF:" + wide + "\n").status, 0);
    const Bytes font = ReadFile(fnt);
    EXPECT_EQ(std::count(font.begin() + 32, font.end(), 0), 65536 * 32 - 1);
}

TEST_F(Hex2Fnt, RefusesMalformedLinesByNumber) {
    const std::string good = "0041:" + narrow + "\n";
    ExpectRefused(good + "42:" + narrow + "\n", ":2: not a code");
    ExpectRefused(good + "00042:" + narrow + "\n", ":2: not a code");
    ExpectRefused(good + "\n" + good, ":2: not a code");
    ExpectRefused("0042:" + narrow.substr(1) + "\n", ":1: the glyph has neither");
    ExpectRefused("0042:" + narrow + "00\n", ":1: the glyph has neither");
    ExpectRefused("0042:" + narrow + "\r\n", ":1: the glyph has neither");
    ExpectRefused("004G:" + narrow + "\n", ":1: not hexadecimal");
    ExpectRefused("0042:x" + narrow.substr(1) + "\n", ":1: not hexadecimal");
    ExpectRefused("0042: -" + narrow.substr(2) + "\n", ":1: not hexadecimal");
    ExpectRefused(good + good, ":2: the code appears twice");
}

TEST_F(Hex2Fnt, RefusesAnEmptyFileAndADirectory) {
    ExpectRefused("", ": holds no glyph");
    const RunResult run = RunTool("hex2fnt " + fnt + " /tmp");
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.output, HasSubstr("hex2fnt: /tmp"));
    EXPECT_THAT(dir.Files(), ElementsAre("in.hex"));
}

TEST_F(Hex2Fnt, RefusesAMissingFile) {
    const RunResult run = RunTool("hex2fnt " + fnt + " " + hex);
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.output, HasSubstr(hex + ": No such file"));
    EXPECT_THAT(dir.Files(), IsEmpty());
}

TEST_F(Hex2Fnt, ExplainsItselfWhenCalledWrongly) {
    EXPECT_EQ(RunTool("hex2fnt").status, 2);
}

class FpgaStandIn : public testing::Test {
  protected:
    ScratchDir dir;
};

TEST_F(FpgaStandIn, IsTheSameForTheSameArguments) {
    ASSERT_EQ(RunTool("fpga_standin PART-1 5000 " + (dir / "a")).status, 0);
    ASSERT_EQ(RunTool("fpga_standin PART-1 5000 " + (dir / "b")).status, 0);
    ASSERT_EQ(RunTool("fpga_standin PART-2 5000 " + (dir / "c")).status, 0);
    const Bytes image = ReadFile(dir / "a");
    EXPECT_EQ(image.size(), 5000u);
    EXPECT_THAT(std::string(image.begin(), image.end()), HasSubstr("stand-in for PART-1"));
    EXPECT_EQ(image, ReadFile(dir / "b"));
    EXPECT_NE(image, ReadFile(dir / "c"));
}

TEST_F(FpgaStandIn, ReportsWrongCallsAndUnwritableOutput) {
    EXPECT_EQ(RunTool("fpga_standin PART-1 many " + (dir / "a")).status, 2);
    EXPECT_EQ(RunTool("fpga_standin PART-1 5000 " + (dir / "missing/a")).status, 1);
    EXPECT_THAT(dir.Files(), IsEmpty());
}

}  // namespace
