// How fast the toolkit draws on an 800 x 480 screen of 16 bits, beside two general libraries that fill and
// copy pixels in software (pixman, and SDL where it is there) and beside memset and memcpy, the most that
// memory gives.
//
// usage: drawing_bench                     a table of times: medians of rounds in turns
//        drawing_bench items               the items' numbers, pixels and names
//        drawing_bench run ITEM WHO COUNT  draws one item COUNT times; WHO: 0 this program, 1 pixman, 2 SDL

#include <endian.h>
#include <pixman.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <time.h>
#if K905_SDL
#include <SDL2/SDL.h>
#endif

#include <algorithm>
#include <string>
#include <vector>

#include "gui/guibase.h"
#include "gui/guidraw.h"
#include "gui/guifbmap.h"
#include "gui/guifont.h"
#include "gui/guiimage.h"
#include "gui/guipalette.h"
#include "gui/guipen.h"
#include "gui/guitext.h"

namespace {

constexpr int WIDTH = 800, HEIGHT = 480, BACKGROUND_HEIGHT = 420;
constexpr int BUTTON_WIDTH = 105, BUTTON_HEIGHT = 53;
constexpr int BUTTONS = 20, CAPTIONS = 22, GLYPHS = 20, GLYPH_SIDE = 16;
constexpr uint32_t INK = 0xFFFFFF, PAPER = 0x000080, PEN = 0x336699;

constexpr uint16_t ToRgb565(uint32_t color) {
    return static_cast<uint16_t>((color >> 8 & 0xF800) | (color >> 5 & 0x7E0) | (color >> 3 & 0x1F));
}

// An A in the upper left corner.
constexpr uint8_t LETTER[2 * GLYPH_SIDE] = {0,    0,    0,    0,    0, 0,    0x18, 0,    0x24, 0,    0x24,
                                            0,    0x42, 0,    0x42, 0, 0x7E, 0,    0x42, 0,    0x42, 0,
                                            0x42, 0,    0x42, 0,    0, 0,    0,    0,    0,    0};

void* NewScreen() {
    void* pixels = aligned_alloc(4096, WIDTH * HEIGHT * 2);
    memset(pixels, 0, WIDTH * HEIGHT * 2);
    return pixels;
}

// Where button i of the screen stands.
int ButtonX(int i) {
    return 20 + i % 5 * 155;
}
int ButtonY(int i) {
    return 10 + i / 5 * 100;
}

// ---- The toolkit ----

GUIFBMAP* map;
GUIPALETTE* palette;
GUIPEN* pen;
GUIFONT* font;
GUIIMAGE *button, *background, *indexed, *letter, *opaqueLetter;
GUITEXT *text, *captions[CAPTIONS];

// A font file of 128 letters A.
GUIFONT* OpenFont() {
    const int descriptor = memfd_create("font", 0);
    FILE* file = fdopen(descriptor, "wb");
    uint32_t header[] = {GUIFONT_FILE_TYPE, 0, GUIFONT_FILE_FORMAT, 0, GLYPH_SIDE, GLYPH_SIDE, 128, 0};
    header[7] = sizeof(header);
    for (uint32_t& word : header)
        word = htole32(word);
    fwrite(header, 1, sizeof(header), file);
    for (int i = 0; i < 128; ++i)
        fwrite(LETTER, 1, sizeof(LETTER), file);
    fflush(file);
    const std::string path = "/proc/self/fd/" + std::to_string(descriptor);
    GUIFONT* opened = CreateFont(path.c_str(), GLYPH_SIDE, GLYPH_SIDE, INK, COLOR_NONE);
    fclose(file);
    return opened;
}

GUIIMAGE* NewImage(unsigned width, unsigned height, unsigned depth) {
    GUIIMAGE* image = CreateImage(width, height, depth);
    for (unsigned i = 0; i < ImageRowBytes(width, depth) * height; ++i)
        image->pImgData[i] = static_cast<uint8_t>(i * 7 + i / 251);
    return image;
}

GUIIMAGE* NewLetter(COLOR paper) {
    GUIIMAGE* image = CreateImage(GLYPH_SIDE, GLYPH_SIDE, 1);
    memcpy(image->pImgData, LETTER, sizeof(LETTER));
    SetImageColor(INK, paper, image);
    SetImagePlace(11, 20, image);
    return image;
}

GUITEXT* NewText(int length, int x, int y) {
    GUICHAR characters[32] = {};
    std::fill_n(characters, length, GUICHAR{'A'});
    return CreateText(characters, static_cast<unsigned>(x), static_cast<unsigned>(y));
}

void PrepareToolkit() {
    map = static_cast<GUIFBMAP*>(calloc(1, sizeof(GUIFBMAP)));
    map->iDevFd = -1;
    map->uiPixelBits = 16;
    map->uiHorRes = WIDTH;
    map->uiVerRes = HEIGHT;
    map->pMapBuff = static_cast<uint8_t*>(NewScreen());
    palette = CreatePalette(256);
    for (int i = 0; i < 256; ++i) {
        palette->pRedValue[i] = static_cast<uint8_t>(i);
        palette->pGreenValue[i] = static_cast<uint8_t>(255 - i);
        palette->pBlueValue[i] = static_cast<uint8_t>(3 * i);
    }
    pen = CreatePen(1, 1, PEN);
    font = OpenFont();
    SetCurrFbmap(map);
    SetCurrPalette(palette);
    SetCurrPen(pen);
    SetCurrFont(font);
    background = NewImage(WIDTH, BACKGROUND_HEIGHT, 24);
    button = NewImage(BUTTON_WIDTH, BUTTON_HEIGHT, 24);
    indexed = NewImage(BUTTON_WIDTH, BUTTON_HEIGHT, 8);
    SetImagePalette(palette, indexed);
    letter = NewLetter(COLOR_NONE);
    opaqueLetter = NewLetter(PAPER);
    text = NewText(GLYPHS, 11, 20);
    for (int i = 0; i < CAPTIONS; ++i)
        captions[i] = NewText(10, i < BUTTONS ? ButtonX(i) + 5 : 10, i < BUTTONS ? ButtonY(i) + 19 : i * 20);
}

int Show(GUIIMAGE* image, int x, int y) {
    SetImagePlace(static_cast<unsigned>(x), static_cast<unsigned>(y), image);
    return DisplayImage(image);
}

// ---- pixman ----

uint32_t* pixmanBits;
pixman_image_t *pixmanScreen, *pixmanButton, *pixmanBackground, *pixmanIndexed, *pixmanLetter, *pixmanInk,
    *pixmanPaper;

// Its rows are whole words.
pixman_image_t* PixmanImage(const GUIIMAGE* image, pixman_format_code_t format) {
    const unsigned row = ImageRowBytes(image->uiImgWidth, image->uiImgDepth), stride = (row + 3) / 4 * 4;
    uint8_t* bits = static_cast<uint8_t*>(calloc(image->uiImgHeight, stride));
    for (unsigned y = 0; y < image->uiImgHeight; ++y)
        memcpy(bits + y * stride, image->pImgData + y * row, row);
    return pixman_image_create_bits(format, static_cast<int>(image->uiImgWidth),
                                    static_cast<int>(image->uiImgHeight), reinterpret_cast<uint32_t*>(bits),
                                    static_cast<int>(stride));
}

pixman_image_t* PixmanColor(uint32_t color) {
    const pixman_color_t wide = {static_cast<uint16_t>((color >> 16 & 0xFF) * 257),
                                 static_cast<uint16_t>((color >> 8 & 0xFF) * 257),
                                 static_cast<uint16_t>((color & 0xFF) * 257), 0xFFFF};
    return pixman_image_create_solid_fill(&wide);
}

void PreparePixman() {
    pixmanBits = static_cast<uint32_t*>(NewScreen());
    pixmanScreen = pixman_image_create_bits(PIXMAN_r5g6b5, WIDTH, HEIGHT, pixmanBits, WIDTH * 2);
    pixmanBackground = PixmanImage(background, PIXMAN_r8g8b8);
    pixmanButton = PixmanImage(button, PIXMAN_r8g8b8);
    pixmanIndexed = PixmanImage(indexed, PIXMAN_c8);
    static pixman_indexed_t colors;
    colors.color = 1;
    for (int i = 0; i < 256; ++i)
        colors.rgba[i] =
            0xFF000000 | MakeColor(palette->pRedValue[i], palette->pGreenValue[i], palette->pBlueValue[i]);
    pixman_image_set_indexed(pixmanIndexed, &colors);
    pixmanLetter = PixmanImage(letter, PIXMAN_a1);
    uint8_t* bits = reinterpret_cast<uint8_t*>(pixman_image_get_data(pixmanLetter));
    for (int i = 0; i < 4 * GLYPH_SIDE; ++i) {  // its leftmost pixel is the lowest bit
        uint8_t turned = 0;
        for (int bit = 0; bit < 8; ++bit)
            turned = static_cast<uint8_t>(turned | (bits[i] >> bit & 1) << (7 - bit));
        bits[i] = turned;
    }
    pixmanInk = PixmanColor(INK);
    pixmanPaper = PixmanColor(PAPER);
}

void PixmanFill(int x, int y, int width, int height) {
    pixman_fill(pixmanBits, WIDTH / 2, 16, x, y, width, height, ToRgb565(PEN));
}

void PixmanCopy(pixman_image_t* image, int x, int y) {
    pixman_image_composite32(PIXMAN_OP_SRC, image, nullptr, pixmanScreen, 0, 0, 0, 0, x, y,
                             pixman_image_get_width(image), pixman_image_get_height(image));
}

void PixmanLetters(int count, int x, int y) {
    for (int i = 0; i < count; ++i)
        pixman_image_composite32(PIXMAN_OP_OVER, pixmanInk, pixmanLetter, pixmanScreen, 0, 0, 0, 0, x + 9 * i,
                                 y, GLYPH_SIDE, GLYPH_SIDE);
}

// ---- SDL ----

#if K905_SDL
SDL_Surface *sdlScreen, *sdlButton, *sdlBackground, *sdlIndexed, *sdlLetter, *sdlOpaqueLetter;
SDL_Renderer* sdlRenderer;

SDL_Surface* SdlImage(const GUIIMAGE* image, int depth, uint32_t format) {
    const int row = static_cast<int>(ImageRowBytes(image->uiImgWidth, image->uiImgDepth));
    return SDL_CreateRGBSurfaceWithFormatFrom(image->pImgData, static_cast<int>(image->uiImgWidth),
                                              static_cast<int>(image->uiImgHeight), depth, row, format);
}

SDL_Color SdlColor(uint32_t color) {
    return {static_cast<uint8_t>(color >> 16), static_cast<uint8_t>(color >> 8), static_cast<uint8_t>(color),
            255};
}

SDL_Surface* SdlLetter() {
    SDL_Surface* surface = SdlImage(letter, 1, SDL_PIXELFORMAT_INDEX1MSB);
    const SDL_Color colors[] = {SdlColor(PAPER), SdlColor(INK)};
    SDL_SetPaletteColors(surface->format->palette, colors, 0, 2);
    return surface;
}

void PrepareSdl() {
    sdlScreen =
        SDL_CreateRGBSurfaceWithFormatFrom(NewScreen(), WIDTH, HEIGHT, 16, WIDTH * 2, SDL_PIXELFORMAT_RGB565);
    sdlRenderer = SDL_CreateSoftwareRenderer(sdlScreen);
    SDL_SetRenderDrawColor(sdlRenderer, PEN >> 16, PEN >> 8 & 0xFF, PEN & 0xFF, 255);
    sdlBackground = SdlImage(background, 24, SDL_PIXELFORMAT_BGR24);
    sdlButton = SdlImage(button, 24, SDL_PIXELFORMAT_BGR24);
    sdlIndexed = SdlImage(indexed, 8, SDL_PIXELFORMAT_INDEX8);
    SDL_Color colors[256];
    for (int i = 0; i < 256; ++i)
        colors[i] =
            SdlColor(MakeColor(palette->pRedValue[i], palette->pGreenValue[i], palette->pBlueValue[i]));
    SDL_SetPaletteColors(sdlIndexed->format->palette, colors, 0, 256);
    sdlLetter = SdlLetter();
    SDL_SetColorKey(sdlLetter, SDL_TRUE, 0);
    sdlOpaqueLetter = SdlLetter();
}

void SdlFill(int x, int y, int width, int height) {
    const SDL_Rect area = {x, y, width, height};
    SDL_FillRect(sdlScreen, &area, ToRgb565(PEN));
}

void SdlCopy(SDL_Surface* image, int x, int y) {
    SDL_Rect place = {x, y, 0, 0};
    SDL_BlitSurface(image, nullptr, sdlScreen, &place);
}

void SdlLetters(SDL_Surface* surface, int count, int x, int y) {
    for (int i = 0; i < count; ++i)
        SdlCopy(surface, x + 9 * i, y);
}
#define SDL(...) [] { __VA_ARGS__; }
#else
#define SDL(...) nullptr
void PrepareSdl() {}
#endif

// ---- What is drawn ----

using Draw = void (*)();

struct Item {
    const char* name;
    int pixels;
    Draw draw[3];  // the toolkit, pixman, SDL
};

const Item items[] = {
    {"whole screen filled",
     WIDTH* HEIGHT,
     {[] { DrawBlock(0, 0, WIDTH - 1, HEIGHT - 1); }, [] { PixmanFill(0, 0, WIDTH, HEIGHT); },
      SDL(SdlFill(0, 0, WIDTH, HEIGHT))}},
    {"105 x 53 filled",
     BUTTON_WIDTH* BUTTON_HEIGHT,
     {[] { DrawBlock(20, 30, 20 + BUTTON_WIDTH - 1, 30 + BUTTON_HEIGHT - 1); },
      [] { PixmanFill(20, 30, BUTTON_WIDTH, BUTTON_HEIGHT); },
      SDL(SdlFill(20, 30, BUTTON_WIDTH, BUTTON_HEIGHT))}},
    {"24-bit image, 105 x 53",
     BUTTON_WIDTH* BUTTON_HEIGHT,
     {[] { Show(button, 20, 30); }, [] { PixmanCopy(pixmanButton, 20, 30); },
      SDL(SdlCopy(sdlButton, 20, 30))}},
    {"24-bit image, 800 x 420",
     WIDTH* BACKGROUND_HEIGHT,
     {[] { Show(background, 0, 30); }, [] { PixmanCopy(pixmanBackground, 0, 30); },
      SDL(SdlCopy(sdlBackground, 0, 30))}},
    {"8-bit image, 105 x 53",
     BUTTON_WIDTH* BUTTON_HEIGHT,
     {[] { Show(indexed, 20, 30); }, [] { PixmanCopy(pixmanIndexed, 20, 30); },
      SDL(SdlCopy(sdlIndexed, 20, 30))}},
    {"a letter, transparent",
     GLYPH_SIDE* GLYPH_SIDE,
     {[] { DisplayImage(letter); }, [] { PixmanLetters(1, 11, 20); }, SDL(SdlCopy(sdlLetter, 11, 20))}},
    {"a letter, opaque",
     GLYPH_SIDE* GLYPH_SIDE,
     {[] { DisplayImage(opaqueLetter); },
      [] {
          pixman_image_composite32(PIXMAN_OP_SRC, pixmanPaper, nullptr, pixmanScreen, 0, 0, 0, 0, 11, 20,
                                   GLYPH_SIDE, GLYPH_SIDE);
          PixmanLetters(1, 11, 20);
      },
      SDL(SdlCopy(sdlOpaqueLetter, 11, 20))}},
    {"a text of 20 letters",
     GLYPHS* GLYPH_SIDE* GLYPH_SIDE,
     {[] { DisplayText(text); }, [] { PixmanLetters(GLYPHS, 11, 20); },
      SDL(SdlLetters(sdlLetter, GLYPHS, 11, 20))}},
    {"line across, 700",
     700,
     {[] { DrawLine(31, 7, 730, 7); }, [] { PixmanFill(31, 7, 700, 1); }, SDL(SdlFill(31, 7, 700, 1))}},
    {"line down, 400",
     400,
     {[] { DrawLine(31, 7, 31, 406); }, [] { PixmanFill(31, 7, 1, 400); }, SDL(SdlFill(31, 7, 1, 400))}},
    {"diagonal, 600",
     600,
     {[] { DrawLine(31, 7, 630, 406); }, nullptr,
      SDL(SDL_RenderDrawLine(sdlRenderer, 31, 7, 630, 406), SDL_RenderFlush(sdlRenderer))}},
    {"a screen: background, 20 buttons, 22 captions",
     WIDTH* BACKGROUND_HEIGHT,
     {[] {
          Show(background, 0, 30);
          for (int i = 0; i < BUTTONS; ++i)
              Show(button, ButtonX(i), ButtonY(i));
          for (GUITEXT* caption : captions)
              DisplayText(caption);
      },
      [] {
          PixmanCopy(pixmanBackground, 0, 30);
          for (int i = 0; i < BUTTONS; ++i)
              PixmanCopy(pixmanButton, ButtonX(i), ButtonY(i));
          for (int i = 0; i < CAPTIONS; ++i)
              PixmanLetters(10, i < BUTTONS ? ButtonX(i) + 5 : 10, i < BUTTONS ? ButtonY(i) + 19 : i * 20);
      },
      SDL(SdlCopy(sdlBackground, 0, 30);
          for (int i = 0; i < BUTTONS; ++i) SdlCopy(sdlButton, ButtonX(i), ButtonY(i));
          for (int i = 0; i < CAPTIONS; ++i) SdlLetters(sdlLetter, 10, i < BUTTONS ? ButtonX(i) + 5 : 10,
                                                        i < BUTTONS ? ButtonY(i) + 19 : i * 20))}},
    // The floor: what memory gives, in the toolkit's column.
    {"memset, whole screen",
     WIDTH* HEIGHT,
     {[] { memset(map->pMapBuff, 0x55, WIDTH * HEIGHT * 2); }, nullptr, nullptr}},
    {"memset, 1400 bytes", 700, {[] { memset(map->pMapBuff + 62, 0x55, 1400); }, nullptr, nullptr}},
    {"memcpy of 800 x 420 pixels",
     WIDTH* BACKGROUND_HEIGHT,
     {[] { memcpy(map->pMapBuff, pixmanBits, WIDTH * BACKGROUND_HEIGHT * 2); }, nullptr, nullptr}},
};

// ---- Times ----

constexpr int ROUNDS = 41;
constexpr double TURN = 1e-3;  // seconds that an item is drawn for in each round

double Now() {
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

void Run(Draw draw, int count) {
    for (int i = 0; i < count; ++i)
        draw();
}

// Seconds that `count` times take.
double Time(Draw draw, int count) {
    const double start = Now();
    Run(draw, count);
    return Now() - start;
}

// One thing to time: how often it fits into a turn, and the seconds it took once, round by round.
struct Timing {
    explicit Timing(Draw drawing)
        : draw(drawing), count(std::max(1, static_cast<int>(TURN / (Time(draw, 100) / 100)))) {}
    double Median() {
        std::nth_element(seconds.begin(), seconds.begin() + ROUNDS / 2, seconds.end());
        return seconds[ROUNDS / 2];
    }
    Draw draw;
    int count;
    std::vector<double> seconds;
};

void PrintTimes() {
    std::vector<Timing> timings;
    for (const Item& item : items)
        for (Draw draw : item.draw)
            if (draw != nullptr)
                timings.emplace_back(draw);
    for (int round = 0; round < ROUNDS; ++round)
        for (Timing& timing : timings)
            timing.seconds.push_back(Time(timing.draw, timing.count) / timing.count);
    printf("%-46s %10s %10s %10s %12s\n", "microseconds, medians", "ours", "pixman", "SDL", "best / ours");
    auto timing = timings.begin();
    for (const Item& item : items) {
        printf("%-46s", item.name);
        double ours = 0, best = 0;
        for (Draw draw : item.draw) {
            if (draw == nullptr) {
                printf(" %10s", "");
                continue;
            }
            const double time = timing++->Median() * 1e6;
            printf(" %10.3f", time);
            if (draw == item.draw[0])
                ours = time;
            else if (best == 0 || time < best)
                best = time;
        }
        if (best > 0)
            printf(" %12.2f", best / ours);
        printf("\n");
    }
}

}  // namespace

int main(int argc, char** argv) {
    PrepareToolkit();
    PreparePixman();
    PrepareSdl();
    if (argc == 1) {
        PrintTimes();
    } else if (argc == 2 && strcmp(argv[1], "items") == 0) {
        for (const Item& item : items)
            printf("%d %d %s\n", static_cast<int>(&item - items), item.pixels, item.name);
    } else if (argc == 5 && strcmp(argv[1], "run") == 0) {
        const size_t number = strtoul(argv[2], nullptr, 10), who = strtoul(argv[3], nullptr, 10);
        if (number >= sizeof(items) / sizeof(items[0]) || who > 2 || items[number].draw[who] == nullptr)
            return 2;
        Run(items[number].draw[who], atoi(argv[4]));
    } else {
        fputs("usage: drawing_bench [items | run ITEM WHO COUNT]\n", stderr);
        return 2;
    }
    return 0;
}
