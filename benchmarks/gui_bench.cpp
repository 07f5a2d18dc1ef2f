// How fast the toolkit writes pixels: blocks, rows, glyphs, images and texts on an 800 x 480 screen of each
// depth. memset over the same bytes stands beside the fills as the most that the machine can do.

#include <benchmark/benchmark.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "gui/guibase.h"
#include "gui/guidraw.h"
#include "gui/guiendian.h"
#include "gui/guifbmap.h"
#include "gui/guifont.h"
#include "gui/guiimage.h"
#include "gui/guipalette.h"
#include "gui/guipen.h"
#include "gui/guitext.h"

namespace {

constexpr unsigned WIDTH = 800;
constexpr unsigned HEIGHT = 480;

// A screen in plain memory, made current with a palette and a pen.
class Screen {
  public:
    explicit Screen(unsigned bits)
        : map_(static_cast<GUIFBMAP*>(calloc(1, sizeof(GUIFBMAP)))),
          palette_(CreatePalette(256)),
          pen_(CreatePen(1, 1, 0x336699)) {
        map_->iDevFd = -1;
        map_->iDevType = GUIFBMAP_BUFFERED;
        map_->uiPixelBits = bits;
        map_->uiHorRes = WIDTH;
        map_->uiVerRes = HEIGHT;
        map_->uiBufSize = WIDTH * HEIGHT * bits / 8;
        map_->pMapBuff = static_cast<uint8_t*>(aligned_alloc(4096, (map_->uiBufSize + 4095) / 4096 * 4096));
        memset(map_->pMapBuff, 0, map_->uiBufSize);
        InitMutex(&map_->Mutex);
        for (int i = 0; i < 256; ++i) {
            palette_->pRedValue[i] = static_cast<uint8_t>(i);
            palette_->pGreenValue[i] = static_cast<uint8_t>(255 - i);
            palette_->pBlueValue[i] = static_cast<uint8_t>(3 * i);
        }
        SetCurrFbmap(map_);
        SetCurrPalette(palette_);
        SetCurrPen(pen_);
    }
    ~Screen() {
        DestroyPen(&pen_);
        DestroyPalette(&palette_);
        DestroyFbmap(&map_);
    }
    Screen(const Screen&) = delete;
    Screen& operator=(const Screen&) = delete;

    GUIPALETTE* Palette() const { return palette_; }
    GUIFBMAP* Map() const { return map_; }

  private:
    GUIFBMAP* map_;
    GUIPALETTE* palette_;
    GUIPEN* pen_;
};

unsigned Argument(const benchmark::State& state, int i) {
    return static_cast<unsigned>(state.range(i));
}

void CountPixels(benchmark::State& state, uint64_t each, unsigned bits) {
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * each));
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * each * (bits / 8)));
}

// ---- Fills. Arguments: depth, first column, pixels a row ----

void BM_Memset(benchmark::State& state) {
    const Screen screen(Argument(state, 0));
    for (auto _ : state) {
        memset(screen.Map()->pMapBuff, 0x55, screen.Map()->uiBufSize);
        benchmark::ClobberMemory();
    }
    CountPixels(state, WIDTH * HEIGHT, Argument(state, 0));
}
BENCHMARK(BM_Memset)->Arg(16)->Arg(24)->Arg(32);

void BM_DrawBlock(benchmark::State& state) {
    const Screen screen(Argument(state, 0));
    const unsigned start = Argument(state, 1), width = Argument(state, 2);
    for (auto _ : state) {
        DrawBlock(start, 0, start + width - 1, HEIGHT - 1);
        benchmark::ClobberMemory();
    }
    CountPixels(state, uint64_t{width} * HEIGHT, Argument(state, 0));
}
BENCHMARK(BM_DrawBlock)
    ->ArgsProduct({{8, 16, 24, 32}, {0}, {800}})
    ->Args({16, 1, 799})
    ->Args({16, 3, 100})
    ->Args({24, 1, 799});

void BM_DrawRow(benchmark::State& state) {
    const Screen screen(Argument(state, 0));
    const unsigned start = Argument(state, 1), width = Argument(state, 2);
    for (auto _ : state) {
        DrawLine(start, 7, start + width - 1, 7);
        benchmark::ClobberMemory();
    }
    CountPixels(state, width, Argument(state, 0));
}
BENCHMARK(BM_DrawRow)->Args({16, 0, 800})->Args({16, 1, 30})->Args({24, 0, 800})->Args({32, 0, 800});

void BM_DrawSlopedLine(benchmark::State& state) {
    const Screen screen(Argument(state, 0));
    for (auto _ : state) {
        DrawLine(0, 0, WIDTH - 1, HEIGHT - 1);
        benchmark::ClobberMemory();
    }
    CountPixels(state, WIDTH, Argument(state, 0));
}
BENCHMARK(BM_DrawSlopedLine)->Arg(16)->Arg(24)->Arg(32);

// ---- Images. Arguments: screen depth, image depth, column ----

void BM_DisplayImage(benchmark::State& state) {
    const Screen screen(Argument(state, 0));
    GUIIMAGE* image = CreateImage(780, 400, Argument(state, 1));
    for (unsigned i = 0; i < ImageRowBytes(780, Argument(state, 1)) * 400; ++i)
        image->pImgData[i] = static_cast<uint8_t>(i * 7);
    SetImagePalette(screen.Palette(), image);
    SetImageColor(0xFFFFFF, 0x000080, image);
    SetImagePlace(Argument(state, 2), 0, image);
    for (auto _ : state) {
        DisplayImage(image);
        benchmark::ClobberMemory();
    }
    CountPixels(state, 780 * 400, Argument(state, 0));
    DestroyImage(&image);
}
BENCHMARK(BM_DisplayImage)->ArgsProduct({{16, 24, 32}, {1, 8, 24}, {0}})->Args({16, 24, 1})->Args({16, 1, 1});

// ---- Glyphs: a 16 x 16 image of a letter's density. Arguments: depth, 1 for an opaque background ----

void BM_DisplayGlyph(benchmark::State& state) {
    const Screen screen(Argument(state, 0));
    static const uint8_t LETTER[32] = {0x18, 0,    0x24, 0,    0x24, 0,    0x42, 0,    0x42, 0, 0x7E,
                                       0,    0x42, 0,    0x42, 0,    0x42, 0,    0x42, 0,    0, 0,
                                       0,    0,    0,    0,    0,    0,    0,    0,    0,    0};
    GUIIMAGE* image = CreateImage(16, 16, 1);
    memcpy(image->pImgData, LETTER, sizeof(LETTER));
    SetImageColor(0xFFFFFF, Argument(state, 1) != 0 ? 0x000080 : COLOR_NONE, image);
    SetImagePlace(101, 50, image);
    for (auto _ : state) {
        DisplayImage(image);
        benchmark::ClobberMemory();
    }
    CountPixels(state, 256, Argument(state, 0));
    DestroyImage(&image);
}
BENCHMARK(BM_DisplayGlyph)->ArgsProduct({{16, 24, 32}, {0, 1}});

// ---- Texts of 32 characters. Argument: 1 to load the glyphs each time ----

// A font file of 128 glyphs with a letter's density, gone when the program ends.
class FontFile {
  public:
    FontFile() {
        const int fd = mkstemp(path_);
        FILE* file = fdopen(fd, "wb");
        uint8_t header[32] = {};
        const uint32_t words[] = {GUIFONT_FILE_TYPE, 0, GUIFONT_FILE_FORMAT, 0, 16, 16, 128, 32};
        for (int i = 0; i < 8; ++i)
            PutLe32(words[i], header + 4 * i);
        fwrite(header, 1, sizeof(header), file);
        for (int i = 0; i < 128 * 32; ++i)
            fputc(i % 2 == 0 && i % 32 < 20 ? 0x42 : 0, file);
        fclose(file);
    }
    ~FontFile() { unlink(path_); }
    const char* Path() const { return path_; }

  private:
    char path_[32] = "/tmp/gui_bench_XXXXXX";
};

void BM_DisplayText(benchmark::State& state) {
    const Screen screen(16);
    const FontFile file;
    GUIFONT* font = CreateFont(file.Path(), 16, 16, 0xFFFFFF, COLOR_NONE);
    SetCurrFont(font);
    GUICHAR* string = TransString("VDD 3.30 V  APD 41.2 V  ATT0 128");
    GUITEXT* text = CreateText(string, 11, 20);
    const bool reload = Argument(state, 0) != 0;
    for (auto _ : state) {
        if (reload)
            UnloadTextMatrix(text);
        if (DisplayText(text) != 0)
            state.SkipWithError("the text cannot be displayed");
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * 32));
    DestroyText(&text);
    free(string);
    DestroyFont(&font);
}
BENCHMARK(BM_DisplayText)->Arg(0)->Arg(1);

}  // namespace
