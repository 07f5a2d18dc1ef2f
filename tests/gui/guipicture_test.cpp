#include "gui/guipicture.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/gui/files_fixture.h"
#include "tests/gui/screen_fixture.h"
#include "tests/support/failing_calls.h"

using test::BmpFile;
using test::Screen;
using test::TempFile;

namespace {

struct Picture {
    Picture(unsigned x, unsigned y, unsigned width, unsigned height, const char* file)
        : object(CreatePicture(x, y, width, height, file)) {}
    ~Picture() { DestroyPicture(&object); }
    GUIPICTURE* operator->() const { return object; }
    GUIPICTURE* object;
};

// A file of one colour.
BmpFile Plain(uint32_t color, unsigned width, unsigned height) {
    BmpFile file;
    file.width = width;
    file.height = height;
    test::Bytes row;
    for (unsigned x = 0; x < width; ++x)
        test::Append(&row, 3, color);
    file.rows.assign(height, row);
    return file;
}

void ExpectPlain(Screen* screen, uint32_t color, unsigned x, unsigned y, unsigned width, unsigned height) {
    for (unsigned row = 0; row < height; ++row)
        for (unsigned column = 0; column < width; ++column)
            screen->Put(x + column, y + row, color);
}

}  // namespace

TEST(Picture, LiesInItsAreaWithItsBitmap) {
    const Picture picture(10, 20, 100, 30, "/nonexistent/button.bmp");
    ASSERT_NE(picture.object, nullptr);
    EXPECT_EQ(picture->Visible.Area.Start.x, 10u);
    EXPECT_EQ(picture->Visible.Area.Start.y, 20u);
    EXPECT_EQ(picture->Visible.Area.End.x, 109u);
    EXPECT_EQ(picture->Visible.Area.End.y, 49u);
    EXPECT_EQ(picture->Visible.iEnable, 1);
    EXPECT_EQ(picture->Visible.iFocus, 0);
    EXPECT_EQ(picture->Visible.iLayer, 0);
    EXPECT_EQ(picture->pPicBrush, nullptr);
    EXPECT_EQ(picture->pPicPen, nullptr);
    EXPECT_EQ(picture->pPicFont, nullptr);
    ASSERT_NE(picture->pPicBitmap, nullptr);
    EXPECT_EQ(picture->pPicBitmap->uiPlaceX, 10u);
    EXPECT_EQ(picture->pPicBitmap->uiPlaceY, 20u);
    EXPECT_EQ(picture->pPicBitmap->uiViewWidth, 100u);
    EXPECT_EQ(picture->pPicBitmap->uiViewHeight, 30u);
}

TEST(Picture, RefusesEmptyAndOverflowingAreas) {
    EXPECT_EQ(Picture(0, 0, 0, 1, "a.bmp").object, nullptr);
    EXPECT_EQ(Picture(0, 0, 1, 0, "a.bmp").object, nullptr);
    EXPECT_EQ(Picture(0xFFFFFFFF, 0, 2, 1, "a.bmp").object, nullptr);
}

TEST(Picture, RefusesNull) {
    GUIPICTURE* none = nullptr;
    const Picture picture(0, 0, 1, 1, nullptr);
    EXPECT_EQ(SetPictureBitmap(nullptr, picture.object), -1);
    EXPECT_EQ(SetPictureBitmap("a.bmp", nullptr), -1);
    EXPECT_EQ(SetPictureArea(0, 0, 1, 1, nullptr), -1);
    EXPECT_EQ(SetPictureBrush(nullptr, picture.object), -1);
    EXPECT_EQ(SetPicturePen(nullptr, picture.object), -1);
    EXPECT_EQ(SetPictureFont(nullptr, picture.object), -1);
    EXPECT_EQ(SetPictureEnable(1, nullptr), -1);
    EXPECT_EQ(DisplayPicture(nullptr), -1);
    EXPECT_EQ(DestroyPicture(nullptr), -1);
    EXPECT_EQ(DestroyPicture(&none), -2);
}

TEST(Picture, ShowsItsFileInItsArea) {
    Screen screen(16, 101, 61);
    const TempFile file(Plain(0x336699, 20, 10).Content());
    const Picture picture(30, 5, 12, 40, file.Path());
    EXPECT_EQ(DisplayPicture(picture.object), 0);
    ExpectPlain(&screen, 0x336699, 30, 5, 12, 10);
    EXPECT_TRUE(screen.Matches());
}

TEST(Picture, WithoutBitmapOrDisabledDrawsNothing) {
    Screen screen(16, 101, 61);
    const TempFile file(Plain(0x336699, 20, 10).Content());
    EXPECT_EQ(DisplayPicture(Picture(0, 0, 10, 10, nullptr).object), -2);
    const Picture picture(0, 0, 10, 10, file.Path());
    EXPECT_EQ(SetPictureEnable(0, picture.object), 0);
    EXPECT_EQ(DisplayPicture(picture.object), -2);
    EXPECT_TRUE(screen.Untouched());
    EXPECT_EQ(SetPictureEnable(1, picture.object), 0);
    EXPECT_EQ(DisplayPicture(picture.object), 0);
}

TEST(Picture, WithAMissingFileFailsEveryTime) {
    Screen screen(16, 101, 61);
    const Picture picture(0, 0, 10, 10, "/nonexistent/button.bmp");
    EXPECT_EQ(DisplayPicture(picture.object), -3);
    EXPECT_EQ(DisplayPicture(picture.object), -3);
    EXPECT_TRUE(screen.Untouched());
}

TEST(Picture, ShowsAnotherFileAtTheNextDisplay) {
    Screen screen(16, 101, 61);
    const TempFile released(Plain(0x0000FF, 20, 10).Content());
    const TempFile pressed(Plain(0xFF0000, 20, 10).Content());
    const Picture picture(30, 5, 20, 10, released.Path());
    EXPECT_EQ(DisplayPicture(picture.object), 0);
    EXPECT_EQ(SetPictureBitmap(pressed.Path(), picture.object), 0);
    EXPECT_EQ(picture->pPicBitmap->uiViewWidth, 20u);
    EXPECT_EQ(picture->pPicBitmap->uiViewHeight, 10u);
    ExpectPlain(&screen, 0x0000FF, 30, 5, 20, 10);
    EXPECT_TRUE(screen.Matches());
    EXPECT_EQ(DisplayPicture(picture.object), 0);
    ExpectPlain(&screen, 0xFF0000, 30, 5, 20, 10);
    EXPECT_TRUE(screen.Matches());
}

TEST(Picture, TakesItsOwnFileAgain) {
    const std::string path = "/nonexistent/a/path/longer/than/a/small/block/button.bmp";
    const Picture picture(0, 0, 10, 10, path.c_str());
    EXPECT_EQ(SetPictureBitmap(picture->pPicBitmap->strBitmapFile, picture.object), 0);
    ASSERT_NE(picture->pPicBitmap, nullptr);
    EXPECT_EQ(picture->pPicBitmap->strBitmapFile, path);
}

TEST(Picture, ANewAreaLoadsTheFileAgain) {
    Screen screen(16, 101, 61);
    const TempFile file(Plain(0x336699, 20, 10).Content());
    const Picture picture(0, 0, 5, 5, file.Path());
    EXPECT_EQ(DisplayPicture(picture.object), 0);
    EXPECT_EQ(SetPictureArea(40, 30, 55, 37, picture.object), 0);
    EXPECT_EQ(picture->pPicBitmap->pBitmapImg, nullptr);
    EXPECT_EQ(DisplayPicture(picture.object), 0);
    ExpectPlain(&screen, 0x336699, 0, 0, 5, 5);
    ExpectPlain(&screen, 0x336699, 40, 30, 16, 8);
    EXPECT_TRUE(screen.Matches());
    EXPECT_EQ(SetPictureArea(10, 10, 9, 20, picture.object), -1);
    EXPECT_EQ(SetPictureArea(10, 10, 20, 9, picture.object), -1);
    EXPECT_EQ(picture->Visible.Area.Start.x, 40u);
}

TEST(Picture, PutsTheCurrentStyleBack) {
    Screen screen(16, 101, 61);
    const TempFile file(Plain(0x336699, 20, 10).Content());
    const TempFile fontFile(test::FontFile().Content());
    GUIFONT* font = CreateFont(fontFile.Path(), 16, 16, 0, 0);
    GUIPEN* const currentPen = GetCurrPen();
    GUIPEN* pen = CreatePen(1, 1, 0);
    GUIBRUSH* brush = CreateBrush(1);
    const Picture picture(0, 0, 5, 5, file.Path());
    EXPECT_EQ(SetPicturePen(pen, picture.object), 0);
    EXPECT_EQ(SetPictureBrush(brush, picture.object), 0);
    EXPECT_EQ(SetPictureFont(font, picture.object), 0);
    EXPECT_EQ(picture->pPicPen, pen);
    EXPECT_EQ(picture->pPicBrush, brush);
    EXPECT_EQ(picture->pPicFont, font);
    EXPECT_EQ(DisplayPicture(picture.object), 0);
    EXPECT_EQ(GetCurrPen(), currentPen);
    EXPECT_EQ(GetCurrBrush(), nullptr);
    EXPECT_EQ(GetCurrFont(), nullptr);
    DestroyFont(&font);
    DestroyPen(&pen);
    DestroyBrush(&brush);
}

TEST(Picture, CreationReleasesWhatItMadeWhereverItFails) {
    const int runs = test::FailEachCall(
        [] {
            GUIPICTURE* picture = CreatePicture(0, 0, 10, 10, "a.bmp");
            return DestroyPicture(&picture) == 0;
        },
        [](const char* name, bool succeeded) { EXPECT_FALSE(succeeded) << name; });
    EXPECT_EQ(runs, 3);
}

TEST(Picture, HasNoBitmapWhenMemoryForTheNewOneIsShort) {
    Screen screen(16, 101, 61);
    const Picture picture(0, 0, 10, 10, "a.bmp");
    {
        const test::FailingCalls failing(1);
        EXPECT_EQ(SetPictureBitmap("b.bmp", picture.object), -3);
    }
    EXPECT_EQ(picture->pPicBitmap, nullptr);
    EXPECT_EQ(DisplayPicture(picture.object), -2);
    EXPECT_EQ(SetPictureBitmap("b.bmp", picture.object), 0);
}
