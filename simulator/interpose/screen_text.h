// Reads the text on a screen back from its pixels, exactly: glyph by glyph against the font file that drew
// it. Nothing need be known about where the text stands or what lies behind it.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

namespace k905 {

// One line of text as far as it is coherent. (x, y) is the top left corner of the first inked glyph's matrix,
// trimmed as it is drawn; width runs to the last inked column. Blanks at either end leave no ink, so they are
// never part of it.
struct TextRun {
    int x = 0, y = 0, width = 0;
    std::uint32_t color = 0;  // 0x00RRGGBB, one of the inks asked for
    std::string text;         // UTF-8

    static constexpr int kHeight = 16;
    bool Covers(int atX, int atY) const {
        return atX >= x && atX < x + width && atY >= y && atY < y + kHeight;
    }
};

class ScreenReader {
  public:
    struct Options {
        // Flat colours that text may have. They are compared in the precision of the picture (RGB565 at 16
        // bits).
        std::vector<std::uint32_t> inks = {0xFFFFFF, 0x3C3028, 0xF8A800, 0x000000, 0x00FF00, 0xFF0000};
        // Most blanks between two words of one run; a wider gap begins a new run.
        int maxBlanks = 5;
    };

    // From a font file, or from the bytes of one. Throws std::runtime_error when that is not a font of this
    // format.
    ~ScreenReader();
    explicit ScreenReader(const std::string& fontFile) : ScreenReader(fontFile, Options()) {}
    ScreenReader(const std::string& fontFile, const Options& options);
    ScreenReader(const std::uint8_t* font, std::size_t size, const Options& options);

    // `pixels`: width x height, rows without padding, 16 (RGB565), 24 or 32 bits each (blue first in memory).
    // Returns the runs from top to bottom and left to right; an unsupported depth throws
    // std::invalid_argument. What has not changed since the last call is not read again.
    std::vector<TextRun> Read(const std::uint8_t* pixels, unsigned width, unsigned height, unsigned bits);
    // How many bands of rows, each of one ink, have been read so far and not taken over as they were.
    std::size_t BandsRead() const { return bandsRead_; }

  private:
    ScreenReader(const std::vector<std::uint8_t>& font, const Options& options);

    struct Glyph {
        std::uint16_t code = 0;
        std::uint8_t width = 0;                      // trimmed
        bool rich = false;                           // cannot pass for a stroke of a picture
        std::uint16_t ink = 0;                       // inked pixels
        std::array<std::uint16_t, 16> columns = {};  // bit r = row r, left column first
    };
    struct Candidate;
    struct Reading;
    class Picture;
    // Rows with an ink, and no others with it near enough to belong to the same text.
    struct Band {
        int first, last;
        std::vector<TextRun> runs;
    };

    void AddGlyph(std::uint16_t code, const std::uint8_t* matrix);
    std::vector<Band> ReadBands(unsigned ink, std::uint32_t color, std::vector<Band>& before);
    void ReadBand(unsigned ink, std::uint32_t color, Band& band) const;

    Options options_;
    std::unique_ptr<Picture> picture_;      // the last one
    std::vector<std::vector<Band>> bands_;  // what was read in it, by ink
    std::size_t bandsRead_ = 0;
    // Glyphs by their first two columns, those that begin alike side by side.
    std::unordered_map<std::uint32_t, std::vector<Glyph>> byStart_;
    std::vector<bool> firstColumns_;  // patterns that some glyph begins with
};

}  // namespace k905
