#include "simulator/interpose/screen_text.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <stdexcept>

namespace k905 {

namespace {

// The system's fonts: 16 x 16 matrices, two bytes a row, indexed by code unit.
constexpr unsigned kMatrix = 16;
constexpr std::size_t kGlyphBytes = kMatrix * kMatrix / 8;
constexpr std::uint32_t kFontMagic = 0x544E462E;  // ".FNT"

// How text is set: a pixel on either side of each glyph, and a blank is three eighths of the matrix wide.
constexpr int kGlyphGap = 2;
constexpr int kBlankAdvance = 1 + kMatrix * 3 / 8 + 1;

// A run is believed when it has this much ink: less may be the speckles of a picture.
constexpr int kRunInk = 14;
// Free pixels that a single glyph needs on each side to be believed.
constexpr int kClear = 3;
constexpr std::size_t kMostInks = 31;

std::uint32_t Le32(const std::uint8_t* p) {
    return p[0] | p[1] << 8 | p[2] << 16 | static_cast<std::uint32_t>(p[3]) << 24;
}
std::uint32_t Le16(const std::uint8_t* p) {
    return static_cast<std::uint32_t>(p[0] | p[1] << 8);
}

std::vector<std::uint8_t> ReadFile(const std::string& path) {
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"), std::fclose);
    if (!file)
        throw std::runtime_error(path + ": the font cannot be opened: " + std::strerror(errno));
    std::vector<std::uint8_t> bytes;
    std::uint8_t block[65536];
    for (std::size_t n = 0; (n = std::fread(block, 1, sizeof block, file.get())) > 0;)
        bytes.insert(bytes.end(), block, block + n);
    return bytes;
}

bool Ideograph(std::uint16_t code) {
    return code >= 0x3000;
}

// The characters that the screens may show: printable ASCII and Latin-1, CJK punctuation and the unified
// ideographs. In this order of preference where two look the same.
constexpr struct {
    std::uint16_t first, last;
} kRepertoire[] = {{0x21, 0x7E}, {0xA1, 0xFF}, {0x3001, 0x3002}, {0x4E00, 0x9FFF}, {0xFF01, 0xFF5E}};

void AppendUtf8(std::string& out, std::uint16_t code) {
    if (code < 0x80) {
        out += static_cast<char>(code);
    } else if (code < 0x800) {
        out += static_cast<char>(0xC0 | code >> 6);
        out += static_cast<char>(0x80 | (code & 0x3F));
    } else {
        out += static_cast<char>(0xE0 | code >> 12);
        out += static_cast<char>(0x80 | (code >> 6 & 0x3F));
        out += static_cast<char>(0x80 | (code & 0x3F));
    }
}

// Colour as a pixel of that depth holds it.
std::uint32_t PixelValue(std::uint32_t color, unsigned bits) {
    if (bits == 16)
        return (color >> 8 & 0xF800) | (color >> 5 & 0x07E0) | (color >> 3 & 0x001F);
    return color & 0xFFFFFF;
}

}  // namespace

// Which ink each pixel has: its number from 1 on, or 0.
class ScreenReader::Picture {
  public:
    // `values`: the inks as pixels of that depth.
    Picture(const std::uint8_t* pixels, int width, int height, unsigned bits,
            const std::vector<std::uint32_t>& values)
        : width_(width),
          height_(height),
          inks_(static_cast<std::size_t>(width) * height),
          rows_(static_cast<std::size_t>(height)) {
        // Most pixels are what the one before is.
        std::uint32_t last = ~0u;
        unsigned number = 0;
        std::uint8_t* out = inks_.data();
        for (std::uint32_t& row : rows_) {
            row = 1u << number;
            for (int x = 0; x < width; ++x, pixels += bits / 8) {
                const std::uint32_t value =
                    bits == 16 ? Le16(pixels) : Le16(pixels) | static_cast<std::uint32_t>(pixels[2]) << 16;
                if (value != last) {
                    last = value;
                    const auto found = std::find(values.begin(), values.end(), value);
                    number = found == values.end() ? 0 : static_cast<unsigned>(found - values.begin()) + 1;
                    row |= 1u << number;
                }
                *out++ = static_cast<std::uint8_t>(number);
            }
        }
    }
    int Width() const { return width_; }
    int Height() const { return height_; }
    const std::uint8_t* Row(int y) const { return &inks_[static_cast<std::size_t>(y) * width_]; }
    bool RowHas(int y, unsigned ink) const { return rows_[static_cast<std::size_t>(y)] >> ink & 1; }
    bool Has(int x, int y, unsigned ink) const {
        return x >= 0 && y >= 0 && x < width_ && y < height_ && Row(y)[x] == ink;
    }

  private:
    int width_, height_;
    std::vector<std::uint8_t> inks_;
    std::vector<std::uint32_t> rows_;  // bit k: the row may have ink k
};

// A reading of the ink from (x, y) on.
struct ScreenReader::Candidate {
    struct Part {
        std::uint32_t glyph;
        int x;
    };
    int y = 0;
    int ink = 0;
    bool rich = false;
    std::vector<Part> parts;
};

ScreenReader::ScreenReader(const std::string& fontFile, const Options& options)
    : ScreenReader(ReadFile(fontFile), options) {}

ScreenReader::ScreenReader(const std::vector<std::uint8_t>& font, const Options& options)
    : ScreenReader(font.data(), font.size(), options) {}

ScreenReader::ScreenReader(const std::uint8_t* font, std::size_t size, const Options& options)
    : options_(options), firstColumns_(65536) {
    if (options_.inks.size() > kMostInks)
        throw std::invalid_argument("more than " + std::to_string(kMostInks) + " inks");
    if (size < 32 || Le32(&font[0]) != kFontMagic || Le32(&font[8]) != 1 || Le16(&font[12]) != 0)
        throw std::runtime_error("not a font of this format");
    if (Le32(&font[16]) != kMatrix || Le32(&font[20]) != kMatrix)
        throw std::runtime_error("only 16 x 16 fonts can be read back");
    const std::size_t count = Le32(&font[24]);
    const std::size_t offset = Le32(&font[28]);
    for (const auto& range : kRepertoire)
        for (std::size_t code = range.first; code <= range.last && code < count; ++code)
            if (offset + (code + 1) * kGlyphBytes <= size)
                AddGlyph(static_cast<std::uint16_t>(code), &font[offset + code * kGlyphBytes]);
}

void ScreenReader::AddGlyph(std::uint16_t code, const std::uint8_t* matrix) {
    std::vector<std::uint16_t> columns(kMatrix);
    Glyph glyph;
    for (unsigned y = 0; y < kMatrix; ++y)
        for (unsigned x = 0; x < kMatrix; ++x)
            if (matrix[y * 2 + x / 8] >> (7 - x % 8) & 1) {
                columns[x] = static_cast<std::uint16_t>(columns[x] | 1u << y);
                ++glyph.ink;
            }
    while (!columns.empty() && columns.back() == 0)
        columns.pop_back();
    if (columns.empty())
        return;
    columns.erase(columns.begin(),
                  std::find_if(columns.begin(), columns.end(), [](int c) { return c != 0; }));

    const std::uint32_t key = columns[0] | (columns.size() > 1 ? columns[1] : 0u) << 16;
    std::vector<std::uint32_t>& same = byStart_[key];
    for (const std::uint32_t other : same)
        if (glyphs_[other].columns == columns)
            return;
    std::vector<std::uint16_t> shapes = columns;
    std::sort(shapes.begin(), shapes.end());
    shapes.erase(std::unique(shapes.begin(), shapes.end()), shapes.end());
    glyph.rich = glyph.ink >= 10 && shapes.size() >= 2;
    glyph.code = code;
    glyph.width = static_cast<std::uint8_t>(columns.size());
    glyph.columns = std::move(columns);
    firstColumns_[glyph.columns[0]] = true;
    same.push_back(static_cast<std::uint32_t>(glyphs_.size()));
    glyphs_.push_back(std::move(glyph));
}

namespace {

// The best reading that begins at one column of one line, and where it goes on.
struct Reading {
    int ink = 0;  // of the whole rest of the run: 0 when nothing can be read here
    int ideographs = 0;
    int glyphs = 0;
    std::uint32_t glyph = 0;
    int next = -1;
    bool continued = false;  // part of a longer reading from the left

    bool BetterThan(const Reading& other) const {
        if (ink != other.ink)
            return ink > other.ink;
        if (ideographs != other.ideographs)
            return ideographs < other.ideographs;
        return glyphs < other.glyphs;
    }
};

}  // namespace

void ScreenReader::ReadInk(const Picture& picture, unsigned ink, std::uint32_t color,
                           std::vector<TextRun>& runs) const {
    const int width = picture.Width();
    std::vector<std::uint16_t> window(static_cast<std::size_t>(width) + kMatrix +
                                      1);  // blank columns at its end
    std::vector<Reading> best(window.size());
    std::vector<int> starts;
    std::vector<Candidate> candidates;

    unsigned blankRows = kMatrix;
    for (int bottom = 0; bottom < picture.Height(); ++bottom) {
        blankRows = picture.RowHas(bottom, ink) ? 0 : blankRows + 1;
        if (blankRows > kMatrix)
            continue;  // nothing is left in the window
        const std::uint8_t* row = picture.Row(bottom);
        for (int x = 0; x < width; ++x)
            window[x] = static_cast<std::uint16_t>(window[x] >> 1 | (row[x] == ink) << 15);
        const int y = bottom - static_cast<int>(kMatrix) + 1;
        if (y < 0)
            continue;
        starts.clear();
        for (int x = 0; x < width; ++x)
            if (window[x] != 0 && (x == 0 || window[x - 1] == 0))
                starts.push_back(x);

        bool found = false;
        for (std::size_t s = starts.size(); s-- > 0;) {
            const int x = starts[s];
            best[x] = Reading();
            if (!firstColumns_[window[x]])
                continue;
            const auto bucket = byStart_.find(window[x] | static_cast<std::uint32_t>(window[x + 1]) << 16);
            if (bucket == byStart_.end())
                continue;
            for (const std::uint32_t index : bucket->second) {
                const Glyph& glyph = glyphs_[index];
                const int end = x + glyph.width;
                if (end > width || window[end] != 0 ||
                    std::memcmp(&window[x], glyph.columns.data(), glyph.width * sizeof(std::uint16_t)) != 0)
                    continue;
                Reading reading;
                reading.ink = glyph.ink;
                reading.ideographs = Ideograph(glyph.code);
                reading.glyphs = 1;
                reading.glyph = index;
                const auto next =
                    std::lower_bound(starts.begin() + static_cast<std::ptrdiff_t>(s), starts.end(), end);
                if (next != starts.end() && best[*next].ink > 0) {
                    const int blank = *next - end - kGlyphGap;
                    if (blank >= 0 && blank % kBlankAdvance == 0 &&
                        blank / kBlankAdvance <= options_.maxBlanks) {
                        const Reading& rest = best[*next];
                        reading.ink += rest.ink;
                        reading.ideographs += rest.ideographs;
                        reading.glyphs += rest.glyphs;
                        reading.next = *next;
                    }
                }
                if (reading.BetterThan(best[x]))
                    best[x] = reading;
            }
            found = found || best[x].ink > 0;
        }
        if (!found)
            continue;
        for (const int x : starts)
            if (best[x].ink > 0 && best[x].next >= 0)
                best[best[x].next].continued = true;
        for (const int x : starts) {
            if (best[x].ink == 0 || best[x].continued)
                continue;
            Candidate candidate;
            candidate.y = y;
            candidate.ink = best[x].ink;
            for (int at = x; at >= 0; at = best[at].next) {
                candidate.parts.push_back({best[at].glyph, at});
                candidate.rich = candidate.rich || glyphs_[best[at].glyph].rich;
            }
            candidates.push_back(std::move(candidate));
        }
    }

    // A lone glyph is text only when it stands free: pictures are full of accidental commas.
    const auto standsFree = [&](const Candidate& c) {
        const Glyph& glyph = glyphs_[c.parts[0].glyph];
        std::uint16_t rows = 0;
        for (const std::uint16_t column : glyph.columns)
            rows = static_cast<std::uint16_t>(rows | column);
        const int left = c.parts[0].x;
        const int right = left + glyph.width;
        const int top = c.y + __builtin_ctz(rows);
        const int bottom = c.y + 32 - __builtin_clz(rows);
        for (int y = top - kClear; y < bottom + kClear; ++y)
            for (int x = left - kClear; x < right + kClear; ++x)
                if ((x < left || x >= right || y < top || y >= bottom) && picture.Has(x, y, ink))
                    return false;
        return glyph.rich && !Ideograph(glyph.code);
    };

    // Ink belongs to one reading only, the one that explains most of it.
    std::stable_sort(candidates.begin(), candidates.end(),
                     [](const Candidate& a, const Candidate& b) { return a.ink > b.ink; });
    std::vector<bool> taken(static_cast<std::size_t>(width) * picture.Height());
    for (const Candidate& candidate : candidates) {
        if (candidate.parts.size() == 1 ? !standsFree(candidate) : !candidate.rich || candidate.ink < kRunInk)
            continue;
        const auto eachPixel = [&](auto&& visit) {
            for (const Candidate::Part& part : candidate.parts)
                for (int x = 0; x < glyphs_[part.glyph].width; ++x)
                    for (unsigned r = 0; r < kMatrix; ++r)
                        if (glyphs_[part.glyph].columns[x] >> r & 1)
                            visit(static_cast<std::size_t>(candidate.y + static_cast<int>(r)) * width +
                                  part.x + x);
        };
        bool free = true;
        eachPixel([&](std::size_t i) { free = free && !taken[i]; });
        if (!free)
            continue;
        eachPixel([&](std::size_t i) { taken[i] = true; });

        TextRun run;
        run.x = candidate.parts[0].x;
        run.y = candidate.y;
        run.color = color;
        int end = run.x;
        for (const Candidate::Part& part : candidate.parts) {
            const int blanks = run.text.empty() ? 0 : (part.x - end - kGlyphGap) / kBlankAdvance;
            run.text.append(static_cast<std::size_t>(blanks), ' ');
            AppendUtf8(run.text, glyphs_[part.glyph].code);
            end = part.x + glyphs_[part.glyph].width;
        }
        run.width = end - run.x;
        runs.push_back(std::move(run));
    }
}

std::vector<TextRun> ScreenReader::Read(const std::uint8_t* pixels, unsigned width, unsigned height,
                                        unsigned bits) const {
    if (bits != 16 && bits != 24 && bits != 32)
        throw std::invalid_argument("screens of " + std::to_string(bits) + " bits cannot be read");
    std::vector<TextRun> runs;
    if (width == 0 || height == 0)
        return runs;
    std::vector<std::uint32_t> values, colors;
    for (const std::uint32_t color : options_.inks) {
        const std::uint32_t value = PixelValue(color, bits);
        if (std::find(values.begin(), values.end(), value) != values.end())
            continue;  // two inks that this depth does not tell apart
        values.push_back(value);
        colors.push_back(color);
    }
    const Picture picture(pixels, static_cast<int>(width), static_cast<int>(height), bits, values);
    for (unsigned i = 0; i < colors.size(); ++i)
        ReadInk(picture, i + 1, colors[i], runs);
    std::sort(runs.begin(), runs.end(),
              [](const TextRun& a, const TextRun& b) { return a.y != b.y ? a.y < b.y : a.x < b.x; });
    return runs;
}

}  // namespace k905
