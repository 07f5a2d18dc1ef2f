// A small font made current, and what its glyphs look like on a screen.
#pragma once

#include <string>
#include <vector>

#include "gui/guibase.h"
#include "gui/guifont.h"
#include "tests/gui/files_fixture.h"
#include "tests/gui/screen_fixture.h"

namespace test {

inline std::vector<GUICHAR> String(const char* text) {
    std::vector<GUICHAR> string;
    do
        string.push_back(static_cast<unsigned char>(*text));
    while (*text++ != '\0');
    return string;
}

// 16 x 16 glyphs up to code 'B': 'A' is 4 pixels wide, 'B' 10, everything else blank (6). White on
// transparent.
class TextFont {
  public:
    TextFont() : file_(Content().Content()) {
        object = CreateFont(file_.Path(), 16, 16, 0xFFFFFF, 0xFFFFFFFF);
        SetCurrFont(object);
    }
    ~TextFont() { DestroyFont(&object); }
    TextFont(const TextFont&) = delete;
    TextFont& operator=(const TextFont&) = delete;

    // Puts a glyph at (x, y), clipped to width x height, in the font's colours, into what the screen is
    // expected to hold.
    void Expect(Screen* screen, char code, unsigned x, unsigned y, unsigned width = 16,
                unsigned height = 16) const {
        const std::vector<std::string>& rows = Glyph(code);
        const unsigned glyphWidth = code == 'A' ? 4 : 10;
        for (unsigned row = 0; row < 16 && row < height; ++row) {
            for (unsigned column = 0; column < glyphWidth && column < width; ++column) {
                const bool ink = row < rows.size() && column < rows[row].size() && rows[row][column] == '#';
                const uint32_t color = ink ? object->uiFgColor : object->uiBgColor;
                if (color != 0xFFFFFFFF)
                    screen->Put(x + column, y + row, color);
            }
        }
    }

    GUIFONT* object;

  private:
    static const std::vector<std::string>& Glyph(char code) {
        static const std::vector<std::string> a = {".##.", "#..#", "####", "#..#", "#..#"};
        static const std::vector<std::string> b = {
            "##########", "#.........", "#.#.#.#.#.", "..........", ".........#", "", "", "",
            "",           "",           "",           "",           "",           "", "", "#"};
        static const std::vector<std::string> blank;
        return code == 'A' ? a : code == 'B' ? b : blank;
    }
    // The glyphs stand away from the left edge, to be trimmed.
    static FontFile Content() {
        FontFile content;
        for (char code = 0; code <= 'B'; ++code) {
            std::vector<std::string> rows = Glyph(code);
            for (std::string& row : rows)
                row = "..." + row;
            content.Add(rows);
        }
        return content;
    }
    TempFile file_;
};

}  // namespace test
