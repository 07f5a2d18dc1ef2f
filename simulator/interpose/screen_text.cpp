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
// Free pixels that a single glyph needs on each side to be believed; letters of a stroke or two ("i", "l",
// "r") need the second.
constexpr int kClear = 3, kClearOfStrokes = 16;
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

bool Letter(std::uint16_t code) {
    return (code >= '0' && code <= '9') || (code >= 'A' && code <= 'Z') || (code >= 'a' && code <= 'z');
}

// What glyphs are found by: their first two columns.
std::uint32_t Start(const std::uint16_t* columns) {
    return columns[0] | static_cast<std::uint32_t>(columns[1]) << 16;
}

// Colour as a pixel of that depth holds it.
std::uint32_t PixelValue(std::uint32_t color, unsigned bits) {
    if (bits == 16)
        return (color >> 8 & 0xF800) | (color >> 5 & 0x07E0) | (color >> 3 & 0x001F);
    return color & 0xFFFFFF;
}

}  // namespace

// Which ink each pixel has: its number from 1 on, or 0; and which rows have changed with the last update.
class ScreenReader::Picture {
  public:
    Picture(int width, int height, unsigned bits, const std::vector<std::uint32_t>& inkColors)
        : width_(width),
          height_(height),
          bits_(bits),
          pixels_(static_cast<std::size_t>(width) * height * (bits / 8)),
          inks_(static_cast<std::size_t>(width) * height),
          rows_(static_cast<std::size_t>(height)) {
        for (const std::uint32_t color : inkColors) {
            const std::uint32_t value = PixelValue(color, bits);
            if (std::find(values_.begin(), values_.end(), value) != values_.end())
                continue;  // two inks that this depth does not tell apart
            values_.push_back(value);
            colors_.push_back(color);
        }
    }
    bool Fits(int width, int height, unsigned bits) const {
        return width == width_ && height == height_ && bits == bits_;
    }
    void Update(const std::uint8_t* pixels) {
        const std::size_t rowBytes = static_cast<std::size_t>(width_) * (bits_ / 8);
        for (int y = 0; y < height_; ++y) {
            std::uint8_t* kept = &pixels_[static_cast<std::size_t>(y) * rowBytes];
            Row& row = rows_[static_cast<std::size_t>(y)];
            row.changed = fresh_ || std::memcmp(kept, pixels, rowBytes) != 0;
            if (row.changed) {
                std::memcpy(kept, pixels, rowBytes);
                row.inks = FindInks(kept, &inks_[static_cast<std::size_t>(y) * width_]);
            }
            pixels += rowBytes;
        }
        fresh_ = false;
    }
    const std::vector<std::uint32_t>& Colors() const { return colors_; }
    int Width() const { return width_; }
    int Height() const { return height_; }
    const std::uint8_t* Inks(int y) const { return &inks_[static_cast<std::size_t>(y) * width_]; }
    bool RowHas(int y, unsigned ink) const { return rows_[static_cast<std::size_t>(y)].inks >> ink & 1; }
    bool Changed(int first, int last) const {
        return std::any_of(rows_.begin() + first, rows_.begin() + last + 1,
                           [](const Row& row) { return row.changed; });
    }
    // The columns from the first to behind the last that has the ink in those rows.
    std::pair<int, int> Extent(int first, int last, unsigned ink) const {
        int left = width_;
        int right = 0;
        for (int y = first; y <= last; ++y) {
            const std::uint8_t* row = Inks(y);
            left = static_cast<int>(std::find(row, row + left, ink) - row);
            int end = width_;
            while (end > right && row[end - 1] != ink)
                --end;
            right = end;
        }
        return {left, right};
    }
    bool Has(int x, int y, unsigned ink) const {
        return x >= 0 && y >= 0 && x < width_ && y < height_ && Inks(y)[x] == ink;
    }

  private:
    struct Row {
        std::uint32_t inks = 0;  // bit k: the row has ink k
        bool changed = false;
    };

    // Writes the numbers of a row's inks, and returns them as bits.
    std::uint32_t FindInks(const std::uint8_t* pixels, std::uint8_t* out) const {
        // Most pixels are what the one before is.
        std::uint32_t last = ~0u;
        unsigned number = 0;
        std::uint32_t found = 0;
        for (int x = 0; x < width_; ++x, pixels += bits_ / 8) {
            const std::uint32_t value =
                bits_ == 16 ? Le16(pixels) : Le16(pixels) | static_cast<std::uint32_t>(pixels[2]) << 16;
            if (value != last) {
                last = value;
                const auto ink = std::find(values_.begin(), values_.end(), value);
                number = ink == values_.end() ? 0 : static_cast<unsigned>(ink - values_.begin()) + 1;
                found |= 1u << number;
            }
            *out++ = static_cast<std::uint8_t>(number);
        }
        return found;
    }

    int width_, height_;
    unsigned bits_;
    std::vector<std::uint32_t> values_,
        colors_;  // the inks as pixels of that depth, and as they were asked for
    bool fresh_ = true;
    std::vector<std::uint8_t> pixels_;
    std::vector<std::uint8_t> inks_;
    std::vector<Row> rows_;
};

// A reading of the ink from (x, y) on.
struct ScreenReader::Candidate {
    struct Part {
        const Glyph* glyph;
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
    Glyph glyph;
    glyph.code = code;
    std::array<std::uint16_t, kMatrix> columns = {};
    std::uint32_t inked = 0;  // bit x: column x is
    for (unsigned y = 0; y < kMatrix; ++y)
        for (std::uint32_t row = matrix[y * 2] | matrix[y * 2 + 1] << 8; row != 0; row &= row - 1) {
            const auto bit = static_cast<unsigned>(__builtin_ctz(row));
            const unsigned x = bit / 8 * 8 + 7 - bit % 8;
            columns[x] = static_cast<std::uint16_t>(columns[x] | 1u << y);
            inked |= 1u << x;
            ++glyph.ink;
        }
    if (inked == 0)
        return;
    const auto* first = columns.begin() + __builtin_ctz(inked);
    const auto* end = columns.begin() + 32 - __builtin_clz(inked);
    glyph.width = static_cast<std::uint8_t>(end - first);
    std::copy(first, end, glyph.columns.begin());
    glyph.rich = glyph.ink >= 10 && std::any_of(first, end, [&](std::uint16_t c) { return c != *first; });

    std::vector<Glyph>& alike = byStart_[Start(glyph.columns.data())];
    for (const Glyph& other : alike)
        if (other.columns == glyph.columns)
            return;
    firstColumns_[glyph.columns[0]] = true;
    alike.push_back(glyph);
}

// The best reading that begins at one column of one line, and where it goes on.
struct ScreenReader::Reading {
    int ink = 0;  // of the whole rest of the run: 0 when nothing can be read here
    int ideographs = 0;
    int glyphs = 0;
    const Glyph* glyph = nullptr;
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

void ScreenReader::ReadBand(unsigned ink, std::uint32_t color, Band& band) const {
    const Picture& picture = *picture_;
    const int width = picture.Width();
    const auto [inkBegin, inkEnd] = picture.Extent(band.first, band.last, ink);
    std::vector<std::uint16_t> window(static_cast<std::size_t>(width) + kMatrix +
                                      1);  // blank columns at its end
    std::vector<Reading> best(window.size());
    std::vector<int> starts;
    std::vector<Candidate> candidates;

    // On to where nothing is left in the window.
    const int below = std::min(picture.Height(), band.last + static_cast<int>(kMatrix));
    for (int bottom = band.first; bottom < below; ++bottom) {
        const std::uint8_t* row = picture.Inks(bottom);
        for (int x = inkBegin; x < inkEnd; ++x)
            window[x] = static_cast<std::uint16_t>(window[x] >> 1 | (row[x] == ink) << 15);
        const int y = bottom - static_cast<int>(kMatrix) + 1;
        if (y < 0)
            continue;
        starts.clear();
        for (int x = inkBegin; x < inkEnd; ++x)
            if (window[x] != 0 && (x == 0 || window[x - 1] == 0))
                starts.push_back(x);

        bool found = false;
        for (std::size_t s = starts.size(); s-- > 0;) {
            const int x = starts[s];
            best[x] = Reading();
            if (!firstColumns_[window[x]])
                continue;
            const auto bucket = byStart_.find(Start(&window[x]));
            if (bucket == byStart_.end())
                continue;
            for (const Glyph& glyph : bucket->second) {
                const int end = x + glyph.width;
                if (end > width || window[end] != 0 ||
                    std::memcmp(&window[x], glyph.columns.data(), glyph.width * sizeof(std::uint16_t)) != 0)
                    continue;
                Reading reading;
                reading.ink = glyph.ink;
                reading.ideographs = Ideograph(glyph.code);
                reading.glyphs = 1;
                reading.glyph = &glyph;
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
                candidate.rich = candidate.rich || best[at].glyph->rich;
            }
            candidates.push_back(std::move(candidate));
        }
    }

    // A lone glyph is text only when it stands free: pictures are full of accidental commas.
    const auto standsFree = [&](const Candidate& c) {
        const Glyph& glyph = *c.parts[0].glyph;
        if (Ideograph(glyph.code) || (!glyph.rich && !Letter(glyph.code)))
            return false;
        const int clear = glyph.rich ? kClear : kClearOfStrokes;
        std::uint16_t rows = 0;
        for (const std::uint16_t column : glyph.columns)
            rows = static_cast<std::uint16_t>(rows | column);
        const int left = c.parts[0].x;
        const int right = left + glyph.width;
        const int top = c.y + __builtin_ctz(rows);
        const int bottom = c.y + 32 - __builtin_clz(rows);
        for (int y = top - clear; y < bottom + clear; ++y)
            for (int x = left - clear; x < right + clear; ++x)
                if ((x < left || x >= right || y < top || y >= bottom) && picture.Has(x, y, ink))
                    return false;
        return true;
    };

    // Ink belongs to one reading only, the one that explains most of it.
    std::stable_sort(candidates.begin(), candidates.end(),
                     [](const Candidate& a, const Candidate& b) { return a.ink > b.ink; });
    std::vector<bool> taken(static_cast<std::size_t>(width) * (band.last - band.first + 1));
    for (const Candidate& candidate : candidates) {
        if (candidate.parts.size() == 1 ? !standsFree(candidate) : !candidate.rich || candidate.ink < kRunInk)
            continue;
        const auto eachPixel = [&](auto&& visit) {
            for (const Candidate::Part& part : candidate.parts)
                for (int x = 0; x < part.glyph->width; ++x)
                    for (unsigned r = 0; r < kMatrix; ++r)
                        if (part.glyph->columns[x] >> r & 1)
                            visit(static_cast<std::size_t>(candidate.y + static_cast<int>(r) - band.first) *
                                      width +
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
            AppendUtf8(run.text, part.glyph->code);
            end = part.x + part.glyph->width;
        }
        run.width = end - run.x;
        band.runs.push_back(std::move(run));
    }
}

// The bands of an ink in the picture as it is now; those of the picture before are taken over where nothing
// has changed.
std::vector<ScreenReader::Band> ScreenReader::ReadBands(unsigned ink, std::uint32_t color,
                                                        std::vector<Band>& before) {
    std::vector<Band> bands;
    for (int y = 0; y < picture_->Height(); ++y) {
        if (!picture_->RowHas(y, ink))
            continue;
        if (bands.empty() || y - bands.back().last > static_cast<int>(kMatrix))
            bands.push_back({y, y, {}});
        bands.back().last = y;
    }
    for (Band& band : bands) {
        const auto same = std::find_if(before.begin(), before.end(), [&](const Band& other) {
            return other.first == band.first && other.last == band.last;
        });
        if (same != before.end() && !picture_->Changed(band.first, band.last)) {
            band.runs = std::move(same->runs);
        } else {
            ReadBand(ink, color, band);
            ++bandsRead_;
        }
    }
    return bands;
}

std::vector<TextRun> ScreenReader::Read(const std::uint8_t* pixels, unsigned width, unsigned height,
                                        unsigned bits) {
    if (bits != 16 && bits != 24 && bits != 32)
        throw std::invalid_argument("screens of " + std::to_string(bits) + " bits cannot be read");
    if (width == 0 || height == 0)
        return {};
    if (!picture_ || !picture_->Fits(static_cast<int>(width), static_cast<int>(height), bits)) {
        picture_ =
            std::make_unique<Picture>(static_cast<int>(width), static_cast<int>(height), bits, options_.inks);
        bands_.assign(picture_->Colors().size(), {});
    }
    picture_->Update(pixels);
    std::vector<TextRun> runs;
    for (unsigned i = 0; i < bands_.size(); ++i) {
        bands_[i] = ReadBands(i + 1, picture_->Colors()[i], bands_[i]);
        for (const Band& band : bands_[i])
            runs.insert(runs.end(), band.runs.begin(), band.runs.end());
    }
    std::sort(runs.begin(), runs.end(),
              [](const TextRun& a, const TextRun& b) { return a.y != b.y ? a.y < b.y : a.x < b.x; });
    return runs;
}

ScreenReader::~ScreenReader() = default;

}  // namespace k905
