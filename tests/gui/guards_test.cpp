// What each function of the toolkit refuses: each argument that may be null alone, each range at both of its
// ends.
#include "tests/support/guards.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdint.h>
#include <unistd.h>

#include "gui/guibase.h"
#include "gui/guibitmap.h"
#include "gui/guibrush.h"
#include "gui/guicomp.h"
#include "gui/guidraw.h"
#include "gui/guievent.h"
#include "gui/guifbmap.h"
#include "gui/guifont.h"
#include "gui/guiimage.h"
#include "gui/guikeypad.h"
#include "gui/guilabel.h"
#include "gui/guimessage.h"
#include "gui/guipalette.h"
#include "gui/guipen.h"
#include "gui/guipicture.h"
#include "gui/guischeduler.h"
#include "gui/guitext.h"
#include "gui/guitouch.h"
#include "gui/guiwindow.h"
#include "tests/gui/idle_functions.h"
#include "tests/gui/screen_fixture.h"
#include "tests/gui/text_fixture.h"
#include "tests/support/descriptor_zero.h"
#include "tests/support/refusing.h"

using test::DoNothing;
using test::ExpectGuards;
using test::NoThread;

TEST(Guards, ListsAndStrings) {
    GUILIST* list = CreateList(2);
    GUILIST* other = CreateList(1);
    GUILIST* none = CreateList(0);
    GUILIST_ITEM items[3] = {};
    GUILIST_ITEM& loose = items[2];
    ASSERT_EQ(0, ListAdd(&items[0], list));
    ASSERT_EQ(0, ListAdd(&items[1], other));
    const GUICHAR a[] = {'a', 0}, ab[] = {'a', 'b', 0}, empty[] = {0};
    GUICHAR* text = TransString("x");
    GUICHAR* missing = nullptr;
    ExpectGuards({
        GUARD(0, CreateList(-1)),
        GUARD(-1, InitList(nullptr)),
        GUARD(-1, DestroyList(nullptr)),
        GUARD(-2, DestroyList(list)),
        GUARD(-1, ListAdd(nullptr, list)),
        GUARD(-1, ListAdd(&loose, nullptr)),
        GUARD(-2, ListAdd(&loose, other)),
        GUARD(-2, ListAdd(&loose, none)),
        GUARD(-1, ListDel(nullptr, list)),
        GUARD(-1, ListDel(&items[0], nullptr)),
        GUARD(-2, ListDel(&items[0], other)),
        GUARD(-2, ListDel(&loose, list)),
        GUARD(-1, ListMove(nullptr, list)),
        GUARD(-1, ListMove(&items[1], nullptr)),
        GUARD(-2, ListMove(&items[0], other)),
        GUARD(-3, ListMove(&loose, list)),
        GUARD(-1, ListSplice(nullptr, list)),
        GUARD(-1, ListSplice(list, nullptr)),
        GUARD(-1, ListSplice(list, list)),
        GUARD(-2, ListSplice(none, list)),
        GUARD(-2, ListSplice(list, other)),
        GUARD(-2, ListSplice(list, none)),
        GUARD(0, StringCmp(nullptr, a)),
        GUARD(0, StringCmp(a, nullptr)),
        GUARD(-'b', StringCmp(a, ab)),
        GUARD('b', StringCmp(ab, a)),
        GUARD(0, StringCpy(nullptr, a)),
        GUARD(0, StringCpy(&text, nullptr)),
        GUARD(0, StringCpy(&missing, a)),
        GUARD(0, StringCat(nullptr, a)),
        GUARD(0, StringCat(&text, nullptr)),
        GUARD(0, StringCat(&missing, a)),
        GUARD(0, StringCat(&missing, empty)),
        GUARD(0, TransString(nullptr)),
    });
    EXPECT_EQ(1, list->iCount);
    EXPECT_EQ(1, other->iCount);
    EXPECT_EQ('x', text[0]);
    EXPECT_EQ(nullptr, missing);
    free(text);
    for (GUILIST* one : {list, other, none}) {
        if (!ListEmpty(one)) {
            EXPECT_EQ(0, ListDel(one->pHead, one));
        }
        EXPECT_EQ(0, DestroyList(one));
    }
}

TEST(Guards, Threads) {
    GUITHREAD none = GUITHREAD_NONE;
    ExpectGuards({
        GUARD(-1, ThreadTryEnd(nullptr)),
        GUARD(-1, ThreadEnd(nullptr)),
        GUARD(0, ThreadTryEnd(&none)),
        GUARD(0, ThreadEnd(&none)),
        GUARD(-1, JoinWorker(nullptr)),
        GUARD(0, JoinWorker(&none)),
    });
    EXPECT_EQ(GUITHREAD_NONE, none);
}

TEST(Guards, Objects) {
    GUILIST* list = CreateList(1);
    GUILIST* full = CreateList(0);
    int object = 0, another = 0;
    const auto isObject = [&](const void* pObj) { return pObj == &object; };
    const auto isAnother = [&](const void* pObj) { return pObj == &another; };
    ExpectGuards({
        GUARD(-2, AppendObj(0, 0, &object, nullptr)),
        GUARD(-2, AppendObj(0, 0, &object, full)),
        GUARD(0, TakeObj(nullptr, list)),
        GUARD(-2, ClearObjs(nullptr, false)),
        GUARD(0, FirstObj(nullptr)),
        GUARD(0, FirstObj(list)),
        GUARD(0, FindObj(nullptr, isObject)),
        GUARD(-2, RemoveObj(nullptr, false, isObject)),
        GUARD(-2, RemoveObj(list, false, isObject)),
        GUARD(0, AppendObj(0, 0, &object, list)),
        GUARD(-2, AppendObj(0, 0, &another, list)),
        GUARD(-4, RemoveObj(list, false, isAnother)),
        GUARD(0, TakeObj(FirstObj(list), full)),
        GUARD(0, TakeObj(FirstObj(list), nullptr)),
        GUARD(0, RemoveObj(list, false, isObject)),
    });
    EXPECT_EQ(0, DestroyList(list));
    EXPECT_EQ(0, DestroyList(full));
}

TEST(Guards, PensBrushesPalettesImages) {
    GUIPEN* noPen = nullptr;
    GUIBRUSH* noBrush = nullptr;
    GUIPALETTE* noPalette = nullptr;
    GUIPALETTE* palette = CreatePalette(1);
    GUIIMAGE* noImage = nullptr;
    GUIIMAGE* image = CreateImage(1, 1, 1);
    ExpectGuards({
        GUARD(-1, DestroyPen(nullptr)),
        GUARD(-2, DestroyPen(&noPen)),
        GUARD(-1, SetCurrPen(nullptr)),
        GUARD(-1, SetBrushColor(0, 0, nullptr)),
        GUARD(-1, DestroyBrush(nullptr)),
        GUARD(-2, DestroyBrush(&noBrush)),
        GUARD(-1, SetCurrBrush(nullptr)),
        GUARD(0, CreatePalette(0)),
        GUARD(0, CreatePalette(-1)),
        GUARD(0, CreatePalette(257)),
        GUARD(-1, DestroyPalette(nullptr)),
        GUARD(-2, DestroyPalette(&noPalette)),
        GUARD(-1, SetCurrPalette(nullptr)),
        GUARD(-1, MatchPaletteColor(0, nullptr)),
        GUARD(0, MatchPaletteColor(0, palette)),
        GUARD(0, CreateImage(0, 1, 1)),
        GUARD(0, CreateImage(1, 0, 1)),
        GUARD(0, CreateImage(16385, 1, 1)),
        GUARD(0, CreateImage(1, 16385, 1)),
        GUARD(0, CreateImage(1, 1, 0)),
        GUARD(0, CreateImage(1, 1, 2)),
        GUARD(0, CreateImage(1, 1, 7)),
        GUARD(0, CreateImage(1, 1, 9)),
        GUARD(0, CreateImage(1, 1, 16)),
        GUARD(0, CreateImage(1, 1, 23)),
        GUARD(0, CreateImage(1, 1, 25)),
        GUARD(0, CreateImage(1, 1, 32)),
        GUARD(-1, DestroyImage(nullptr)),
        GUARD(-2, DestroyImage(&noImage)),
        GUARD(-1, SetImagePlace(0, 0, nullptr)),
        GUARD(-1, SetImageColor(0, 0, nullptr)),
        GUARD(-1, SetImagePalette(nullptr, image)),
        GUARD(-1, SetImagePalette(palette, nullptr)),
        GUARD(-1, DisplayImage(nullptr)),
    });
    EXPECT_EQ(nullptr, image->pRefPal);
    for (const unsigned depth : {1u, 8u, 24u}) {
        GUIIMAGE* longest = CreateImage(16384, 1, depth);
        GUIIMAGE* highest = CreateImage(1, 16384, depth);
        EXPECT_EQ(0, DestroyImage(&longest)) << depth;
        EXPECT_EQ(0, DestroyImage(&highest)) << depth;
    }
    GUIPALETTE* longest = CreatePalette(256);
    EXPECT_EQ(0, DestroyPalette(&longest));
    DestroyPalette(&palette);
    DestroyImage(&image);
}

// The order of the checks: what is missing first is told.
TEST(Guards, Drawing) {
    const auto drawAll = [](unsigned x, unsigned y, int result) {
        ExpectGuards({
            GUARD(result, DrawPixel(x, y)),
            GUARD(result, DrawLine(x, y, 1, 2)),
            GUARD(result, DrawLine(1, 2, x, y)),
            GUARD(result, DrawRectangle(x, y, 1, 2)),
            GUARD(result, DrawRectangle(1, 2, x, y)),
            GUARD(result, DrawCircle(x, y, 0)),
            GUARD(result, DrawBlock(x, y, 1, 2)),
            GUARD(result, DrawBlock(1, 2, x, y)),
        });
    };
    drawAll(0, 0, -1);
    GUIPALETTE* palette = CreatePalette(1);
    SetCurrPalette(palette);
    drawAll(0, 0, -2);
    GUIPEN* pen = CreatePen(1, 1, 0);
    SetCurrPen(pen);
    drawAll(0, 0, -3);
    DestroyPen(&pen);
    DestroyPalette(&palette);

    test::Screen screen(16, 20, 10);
    drawAll(20, 0, -4);
    drawAll(0, 10, -4);
    ExpectGuards({
        GUARD(-4, DrawCircle(4, 5, 5)),
        GUARD(-4, DrawCircle(5, 4, 5)),
        GUARD(-4, DrawCircle(16, 5, 4)),
        GUARD(-4, DrawCircle(5, 6, 4)),
        GUARD(-4, DrawCircle(UINT32_MAX, 5, 4)),
        GUARD(-4, DrawCircle(5, 5, UINT32_MAX)),
    });
    for (const unsigned bits : {0u, 1u, 7u, 9u, 15u, 17u, 23u, 25u, 31u, 33u}) {
        screen.Map()->uiPixelBits = bits;
        drawAll(3, 3, -5);
    }
    EXPECT_TRUE(screen.Untouched());
    screen.Map()->uiPixelBits = 16;
    ExpectGuards({
        GUARD(0, DrawCircle(4, 4, 4)),
        GUARD(0, DrawCircle(15, 5, 4)),
        GUARD(0, DrawPixel(19, 9)),
    });
}

TEST(Guards, FontsAndTexts) {
    test::Screen screen(16, 100, 50);
    const std::vector<GUICHAR> word = test::String("A");
    GUIFONT* noFont = nullptr;
    GUITEXT* noText = nullptr;
    GUITEXT* text = CreateText(word.data(), 0, 0);
    ExpectGuards({
        GUARD(-4, LoadTextMatrix(text)),  // no font is current
        GUARD(-2, DisplayText(text)),
        GUARD(0, UnloadTextMatrix(text)),
        GUARD(-2, UnloadTextMatrix(text)),
    });
    test::TextFont font;
    ExpectGuards({
        GUARD(0, CreateFont(nullptr, 16, 16, 0, 0)),
        GUARD(0, CreateFont(font.object->strFontFile, 0, 16, 0, 0)),
        GUARD(0, CreateFont(font.object->strFontFile, 16, 0, 0, 0)),
        GUARD(0, CreateFont("/nowhere", 16, 16, 0, 0)),
        GUARD(-1, DestroyFont(nullptr)),
        GUARD(-2, DestroyFont(&noFont)),
        GUARD(-1, SetFontGap(0, 0, 0, 0, nullptr)),
        GUARD(-2, SetFontGap(9, 0, 0, 0, font.object)),
        GUARD(-2, SetFontGap(0, 9, 0, 0, font.object)),
        GUARD(-2, SetFontGap(0, 0, 9, 0, font.object)),
        GUARD(-2, SetFontGap(0, 0, 0, 9, font.object)),
        GUARD(-1, SetFontColor(0, 0, nullptr)),
        GUARD(-1, SetCurrFont(nullptr)),
        GUARD(0, ExtractFontMatrix('A', nullptr)),
        GUARD(0, ExtractFontMatrix('B' + 1, font.object)),
        GUARD(0, DestroyFontMatrix(nullptr), 0),
        GUARD(0, CreateText(nullptr, 0, 0)),
        GUARD(-1, SetTextData(nullptr, text)),
        GUARD(-1, SetTextData(word.data(), nullptr)),
        GUARD(-1, SetTextView(0, 0, nullptr)),
        GUARD(-1, SetTextPlace(0, 0, nullptr)),
        GUARD(-1, LoadTextMatrix(nullptr)),
        GUARD(0, LoadTextMatrix(text)),
        GUARD(-2, LoadTextMatrix(text)),
        GUARD(-1, UnloadTextMatrix(nullptr)),
        GUARD(-1, DisplayText(nullptr)),
        GUARD(-1, DestroyText(nullptr)),
        GUARD(-2, DestroyText(&noText)),
    });
    EXPECT_EQ(1u, font.object->uiLeftGap);
    EXPECT_EQ(1u, font.object->uiBottomGap);
    EXPECT_EQ(0, SetFontGap(8, 7, 6, 5, font.object));
    EXPECT_EQ(8u, font.object->uiLeftGap);
    EXPECT_EQ(7u, font.object->uiRightGap);
    EXPECT_EQ(6u, font.object->uiTopGap);
    EXPECT_EQ(5u, font.object->uiBottomGap);
    EXPECT_EQ(0, DestroyText(&text));
}

TEST(Guards, BitmapsLabelsPictures) {
    const GUICHAR word[] = {'A', 0};
    GUIBITMAP* noBitmap = nullptr;
    GUIBITMAP* bitmap = CreateBitmap("/nowhere.bmp", 1, 2);
    GUILABEL* noLabel = nullptr;
    GUILABEL* label = CreateLabel(1, 2, 3, 4, nullptr);
    GUIPICTURE* noPicture = nullptr;
    GUIPICTURE* picture = CreatePicture(1, 2, 3, 4, nullptr);
    GUIBRUSH* brush = CreateBrush(1);
    GUIPEN* pen = CreatePen(1, 1, 0);
    GUIFONT font = {};
    ExpectGuards({
        GUARD(0, CreateBitmap(nullptr, 0, 0)),
        GUARD(-1, LoadBitmapImage(nullptr)),
        GUARD(-3, LoadBitmapImage(bitmap)),
        GUARD(0, ReadBitmapPalette(nullptr)),
        GUARD(0, ReadBitmapPalette(bitmap)),
        GUARD(-1, UnloadBitmapImage(nullptr)),
        GUARD(-2, UnloadBitmapImage(bitmap)),
        GUARD(-1, SetBitmapView(0, 0, nullptr)),
        GUARD(-1, SetBitmapPlace(0, 0, nullptr)),
        GUARD(-1, DisplayBitmap(nullptr)),
        GUARD(-2, DisplayBitmap(bitmap)),
        GUARD(-1, DestroyBitmap(nullptr)),
        GUARD(-2, DestroyBitmap(&noBitmap)),

        GUARD(0, CreateLabel(0, 0, 0, 1, word)),
        GUARD(0, CreateLabel(0, 0, 1, 0, word)),
        GUARD(0, CreateLabel(UINT32_MAX, 0, 2, 1, word)),
        GUARD(0, CreateLabel(0, UINT32_MAX, 1, 2, word)),
        GUARD(-1, SetLabelText(nullptr, label)),
        GUARD(-1, SetLabelText(word, nullptr)),
        GUARD(-1, SetLabelArea(0, 0, 1, 1, nullptr)),
        GUARD(-1, SetLabelArea(5, 0, 4, 9, label)),
        GUARD(-1, SetLabelArea(0, 5, 9, 4, label)),
        GUARD(-1, SetLabelAlign(0, nullptr)),
        GUARD(-1, SetLabelAlign(3, label)),
        GUARD(-1, SetLabelBrush(nullptr, label)),
        GUARD(-1, SetLabelBrush(brush, nullptr)),
        GUARD(-1, SetLabelPen(nullptr, label)),
        GUARD(-1, SetLabelPen(pen, nullptr)),
        GUARD(-1, SetLabelFont(nullptr, label)),
        GUARD(-1, SetLabelFont(&font, nullptr)),
        GUARD(-1, SetLabelEnable(0, nullptr)),
        GUARD(-1, DisplayLabel(nullptr)),
        GUARD(-2, DisplayLabel(label)),
        GUARD(-1, DestroyLabel(nullptr)),
        GUARD(-2, DestroyLabel(&noLabel)),

        GUARD(0, CreatePicture(0, 0, 0, 1, nullptr)),
        GUARD(0, CreatePicture(0, 0, 1, 0, nullptr)),
        GUARD(0, CreatePicture(UINT32_MAX, 0, 2, 1, nullptr)),
        GUARD(0, CreatePicture(0, UINT32_MAX, 1, 2, nullptr)),
        GUARD(-1, SetPictureBitmap(nullptr, picture)),
        GUARD(-1, SetPictureBitmap("a.bmp", nullptr)),
        GUARD(-1, SetPictureArea(0, 0, 1, 1, nullptr)),
        GUARD(-1, SetPictureArea(5, 0, 4, 9, picture)),
        GUARD(-1, SetPictureArea(0, 5, 9, 4, picture)),
        GUARD(-1, SetPictureBrush(nullptr, picture)),
        GUARD(-1, SetPictureBrush(brush, nullptr)),
        GUARD(-1, SetPicturePen(nullptr, picture)),
        GUARD(-1, SetPicturePen(pen, nullptr)),
        GUARD(-1, SetPictureFont(nullptr, picture)),
        GUARD(-1, SetPictureFont(&font, nullptr)),
        GUARD(-1, SetPictureEnable(0, nullptr)),
        GUARD(-1, DisplayPicture(nullptr)),
        GUARD(-2, DisplayPicture(picture)),
        GUARD(-1, DestroyPicture(nullptr)),
        GUARD(-2, DestroyPicture(&noPicture)),
    });
    for (const GUIVISIBLE& visible : {label->Visible, picture->Visible}) {
        EXPECT_EQ(1u, visible.Area.Start.x);
        EXPECT_EQ(2u, visible.Area.Start.y);
        EXPECT_EQ(3u, visible.Area.End.x);
        EXPECT_EQ(5u, visible.Area.End.y);
    }
    // An area of one pixel, and one that ends at the last coordinate there is.
    EXPECT_EQ(0, SetLabelArea(5, 6, 5, 6, label));
    EXPECT_EQ(0, SetPictureArea(5, 6, 5, 6, picture));
    GUILABEL* last = CreateLabel(UINT32_MAX, UINT32_MAX, 1, 1, nullptr);
    ASSERT_NE(nullptr, last);
    EXPECT_EQ(UINT32_MAX, last->Visible.Area.End.x);
    DestroyLabel(&last);
    DestroyBitmap(&bitmap);
    DestroyLabel(&label);
    DestroyPicture(&picture);
    DestroyBrush(&brush);
    DestroyPen(&pen);
}

TEST(Guards, AreasOfComponents) {
    GUIVISIBLE visible = {{{1, 2}, {3, 4}}, 0, 5, 6};
    ExpectGuards({
        GUARD(false, PlaceVisible(0, 0, 0, 1, &visible)),
        GUARD(false, PlaceVisible(0, 0, 1, 0, &visible)),
        GUARD(false, PlaceVisible(UINT32_MAX, 0, 2, 1, &visible)),
        GUARD(false, PlaceVisible(0, UINT32_MAX, 1, 2, &visible)),
        GUARD(false, PlaceVisible(2, 0, UINT32_MAX, 1, &visible)),
        GUARD(false, PlaceVisible(0, 2, 1, UINT32_MAX, &visible)),
        GUARD(-1, SetVisibleArea(5, 0, 4, 9, &visible)),
        GUARD(-1, SetVisibleArea(0, 5, 9, 4, &visible)),
    });
    const unsigned refused[] = {visible.Area.Start.x, visible.Area.Start.y, visible.Area.End.x,
                                visible.Area.End.y};
    EXPECT_THAT(refused, testing::ElementsAre(1u, 2u, 3u, 4u));
    EXPECT_EQ(0, SetVisibleArea(5, 6, 5, 6, &visible));
    EXPECT_EQ(5u, visible.Area.End.x);
    EXPECT_EQ(6u, visible.Area.End.y);
    EXPECT_EQ(5, visible.iFocus) << "only the area is set";
    EXPECT_TRUE(PlaceVisible(1, UINT32_MAX, UINT32_MAX, 1, &visible));
    EXPECT_EQ(UINT32_MAX, visible.Area.End.x);
    EXPECT_EQ(UINT32_MAX, visible.Area.End.y);
    EXPECT_EQ(1, visible.iEnable);
    EXPECT_EQ(0, visible.iFocus);
    EXPECT_EQ(0, visible.iLayer);
}

TEST(Guards, WindowsAndMessages) {
    GUIWINDOW* noWindow = nullptr;
    GUIWINDOW* window = CreateWindow(1, 2, 3, 4, DoNothing, DoNothing, DoNothing, nullptr, nullptr);
    GUIMESSAGE* noMessages = nullptr;
    GUIMESSAGE* messages = CreateMessage(1, 1);
    GUIMESSAGE_ITEM item = {};
    GUIBRUSH* brush = CreateBrush(1);
    GUIPEN* pen = CreatePen(1, 1, 0);
    GUIFONT font = {};
    int component = 0, another = 0;
    GUILIST* prepared = CreateList(1);
    ExpectGuards({
        GUARD(0, CreateWindow(0, 0, 1, 1, nullptr, DoNothing, DoNothing, nullptr, nullptr)),
        GUARD(0, CreateWindow(0, 0, 1, 1, DoNothing, nullptr, DoNothing, nullptr, nullptr)),
        GUARD(0, CreateWindow(0, 0, 1, 1, DoNothing, DoNothing, nullptr, nullptr, nullptr)),
        GUARD(0, CreateWindow(0, 0, 0, 1, DoNothing, DoNothing, DoNothing, nullptr, nullptr)),
        GUARD(0, CreateWindow(0, 0, 1, 0, DoNothing, DoNothing, DoNothing, nullptr, nullptr)),
        // Not only where the place is 0, where the end overflows too.
        GUARD(0, CreateWindow(5, 5, 0, 1, DoNothing, DoNothing, DoNothing, nullptr, nullptr)),
        GUARD(0, CreateWindow(5, 5, 1, 0, DoNothing, DoNothing, DoNothing, nullptr, nullptr)),
        GUARD(0, CreateWindow(UINT32_MAX, 0, 2, 1, DoNothing, DoNothing, DoNothing, nullptr, nullptr)),
        GUARD(0, CreateWindow(0, UINT32_MAX, 1, 2, DoNothing, DoNothing, DoNothing, nullptr, nullptr)),
        GUARD(-1, DestroyWindow(nullptr)),
        GUARD(-2, DestroyWindow(&noWindow)),
        GUARD(-1, SetWindowArea(0, 0, 1, 1, nullptr)),
        GUARD(-1, SetWindowArea(5, 0, 4, 9, window)),
        GUARD(-1, SetWindowArea(0, 5, 9, 4, window)),
        GUARD(-1, SetWindowBrush(nullptr, window)),
        GUARD(-1, SetWindowBrush(brush, nullptr)),
        GUARD(-1, SetWindowPen(nullptr, window)),
        GUARD(-1, SetWindowPen(pen, nullptr)),
        GUARD(-1, SetWindowFont(nullptr, window)),
        GUARD(-1, SetWindowFont(&font, nullptr)),
        GUARD(-1, AddWindowComp(0, 0, nullptr, window)),
        GUARD(-1, AddWindowComp(0, 0, &component, nullptr)),
        GUARD(-1, DelWindowComp(nullptr, window)),
        GUARD(-1, DelWindowComp(&component, nullptr)),
        GUARD(-2, DelWindowComp(&component, window)),
        GUARD(0, AddWindowComp(0, 0, &component, window)),
        GUARD(-4, DelWindowComp(&another, window)),
        GUARD(-4, DestroyWindow(&window)),
        GUARD(0, DelWindowComp(&component, window)),
        GUARD(-1, ClearWindowComp(nullptr)),
        GUARD(-1, SetCurrWindow(nullptr)),
        GUARD(-1, ChangeWindow(window, nullptr)),

        GUARD(0, CreateMessage(-1, 1)),
        GUARD(0, CreateMessage(1, -1)),
        GUARD(-1, DestroyMessage(nullptr)),
        GUARD(-2, DestroyMessage(&noMessages)),
        GUARD(-1, SetCurrMessage(nullptr)),
        GUARD(-1, WriteMessageQueue(nullptr, messages)),
        GUARD(-1, WriteMessageQueue(&item, nullptr)),
        GUARD(0, ReadMessageQueue(nullptr)),
        GUARD(0, ReadMessageQueue(messages)),
        GUARD(0, RecvSpecialMessage(0, nullptr)),
        GUARD(0, RecvSpecialMessage(0, messages)),
        GUARD(-1, ClearMessageQueue(nullptr)),
        GUARD(-1, DropReceiverMessages(nullptr)),
        GUARD(-1, LoginMessageReg(1, &component, nullptr, nullptr, 0, nullptr)),
        GUARD(-1, LogoutMessageReg(1, &component, nullptr)),
        GUARD(-2, LogoutMessageReg(1, &component, messages)),
        GUARD(0, LoginMessageReg(1, &component, nullptr, nullptr, 0, messages)),
        GUARD(-2, LoginMessageReg(2, &component, nullptr, nullptr, 0, messages)),
        GUARD(-4, LogoutMessageReg(2, &component, messages)),
        GUARD(-4, LogoutMessageReg(1, &another, messages)),
        GUARD(-4, DestroyMessage(&messages)),
        GUARD(0, LogoutMessageReg(1, &component, messages)),
        GUARD(-1, ClearMessageReg(nullptr)),
        GUARD(0, MatchMessageReg(nullptr, messages)),
        GUARD(0, MatchMessageReg(&item, nullptr)),
        GUARD(0, MatchMessageReg(&item, messages)),
        GUARD(-1, ExecMessageProc(nullptr, messages)),
        GUARD(-1, ExecMessageProc(&item, nullptr)),
        GUARD(-2, ExecMessageProc(&item, messages)),
        GUARD(-1, PostMessageItem(nullptr, messages)),
        GUARD(-1, PostMessageItem(CreateMessageItem(1, 1, 0, nullptr), nullptr)),
        GUARD(-1, SendMessage(1, 1, 0)),  // no message object is current
        GUARD(-2, PrepareMessage(1, 2, 3, nullptr)),
        GUARD(0, PrepareMessage(1, 2, 3, prepared)),
        GUARD(-2, PrepareMessage(4, 5, 6, prepared)),
        GUARD(0, TakeMessage(1, nullptr)),
        GUARD(0, TakeMessage(1, messages)),
    });
    EXPECT_EQ(1, prepared->iCount);
    const auto* kept = static_cast<const GUIMESSAGE_ITEM*>(FirstObj(prepared)->pObj);
    EXPECT_EQ(2, kept->iMsgCode);
    EXPECT_EQ(0, ClearObjs(prepared, true));
    EXPECT_EQ(0, DestroyList(prepared));
    EXPECT_EQ(1u, window->Visible.Area.Start.x);
    EXPECT_EQ(5u, window->Visible.Area.End.y);
    EXPECT_EQ(0, SetWindowArea(5, 6, 5, 6, window));
    GUIWINDOW* next = CreateWindow(0, 0, 1, 1, DoNothing, DoNothing, DoNothing, nullptr, nullptr);
    EXPECT_EQ(-2, ChangeWindow(window, next)) << "no message object is current; the window is destroyed";
    EXPECT_EQ(0, DestroyWindow(&window));
    EXPECT_EQ(0, DestroyMessage(&messages));
    DestroyBrush(&brush);
    DestroyPen(&pen);
}

TEST(Guards, DevicesAndEvents) {
    GUIKEYPAD* noKeypad = nullptr;
    GUITOUCH* noTouch = nullptr;
    GUIFBMAP* noMap = nullptr;
    GUIEVENT* noEvents = nullptr;
    GUIEVENT* events = CreateEvent(1, NoThread);
    GUIEVENT_ITEM item = {};
    ExpectGuards({
        GUARD(0, CreateKeypad(nullptr, 2, NoThread)),
        GUARD(0, CreateKeypad("/dev/null", 2, nullptr)),
        GUARD(0, CreateKeypad("/nowhere", 2, NoThread)),
        GUARD(-1, DestroyKeypad(nullptr)),
        GUARD(-2, DestroyKeypad(&noKeypad)),
        GUARD(-1, SetCurrKeypad(nullptr)),
        GUARD(-1, CustomKeypadFunc(nullptr)),
        GUARD(0, CreateTouch(nullptr, 1, NoThread)),
        GUARD(0, CreateTouch("/dev/null", 1, nullptr)),
        GUARD(0, CreateTouch("/nowhere", 1, NoThread)),
        GUARD(-1, DestroyTouch(nullptr)),
        GUARD(-2, DestroyTouch(&noTouch)),
        GUARD(-1, SetCurrTouch(nullptr)),
        GUARD(-1, CustomTouchFunc(nullptr)),
        GUARD(0, CreateFbmap(nullptr, 1, 800, 480, NoThread)),
        GUARD(0, CreateFbmap("/dev/null", 1, 800, 480, nullptr)),
        GUARD(0, CreateFbmap("/dev/null", 1, 800, 480, NoThread)),
        GUARD(-1, DestroyFbmap(nullptr)),
        GUARD(-2, DestroyFbmap(&noMap)),
        GUARD(-1, SetCurrFbmap(nullptr)),
        GUARD(0, CustomFbmapFunc(nullptr)),
        GUARD(0, CreateEvent(1, nullptr)),
        GUARD(0, CreateEvent(-1, NoThread)),
        GUARD(-1, DestroyEvent(nullptr)),
        GUARD(-2, DestroyEvent(&noEvents)),
        GUARD(-1, SetCurrEvent(nullptr)),
        GUARD(-1, WriteEventQueue(nullptr, events)),
        GUARD(-1, WriteEventQueue(&item, nullptr)),
        GUARD(0, ReadEventQueue(nullptr)),
        GUARD(0, ReadEventQueue(events)),
        GUARD(-1, ClearEventQueue(nullptr)),
        GUARD(-2, PostEvent(1, 0)),  // no event object is current
        GUARD(0, MatchEventObject(nullptr)),
        GUARD(0, MatchEventObject(&item)),
        GUARD(-1, EventPacketFunc(nullptr)),
        GUARD(-1, EventPacketFunc(events)),
    });
    EXPECT_EQ(0, DestroyEvent(&events));
}

TEST(Guards, DescriptorZeroIsAsGoodAsAnyOther) {
    const test::DescriptorZero zero;
    GUIKEYPAD* keypad = CreateKeypad("/dev/null", 2, NoThread);
    ASSERT_NE(nullptr, keypad);
    EXPECT_EQ(0, keypad->iDevFd);
    EXPECT_EQ(0, DestroyKeypad(&keypad));
    EXPECT_TRUE(test::DescriptorZero::IsFree());

    GUITOUCH* touch = CreateTouch("/dev/null", 1, NoThread);
    ASSERT_NE(nullptr, touch);
    EXPECT_EQ(0, touch->iDevFd);
    EXPECT_EQ(0, DestroyTouch(&touch));
    EXPECT_TRUE(test::DescriptorZero::IsFree());

    {
        const test::TextFont font;
        ASSERT_NE(nullptr, font.object);
        EXPECT_EQ(0, font.object->iFontFd);
    }
    EXPECT_TRUE(test::DescriptorZero::IsFree());

    test::BmpFile picture;
    picture.width = picture.height = 1;
    picture.bits = 1;
    picture.table = {0x000000, 0xFFFFFF};
    picture.rows = {{0x80}};
    const test::TempFile file(picture.Content());
    GUIBITMAP* bitmap = CreateBitmap(file.Path(), 0, 0);
    EXPECT_EQ(0, LoadBitmapImage(bitmap));
    EXPECT_TRUE(test::DescriptorZero::IsFree());
    // One that is open already is read as it is, and stays open.
    bitmap->iBitmapFd = open(file.Path(), O_RDONLY);
    ASSERT_EQ(0, bitmap->iBitmapFd);
    ASSERT_EQ(0, unlink(file.Path()));
    GUIPALETTE* palette = ReadBitmapPalette(bitmap);
    EXPECT_NE(nullptr, palette);
    EXPECT_FALSE(test::DescriptorZero::IsFree());
    DestroyPalette(&palette);
    EXPECT_EQ(0, DestroyBitmap(&bitmap));
}

// ---- What stays where a step fails ----

TEST(StepThatFails, AListThatTakesNothingKeepsNoEntry) {
    GUILIST* list = CreateList(1);
    int object = 0;
    {
        const test::Refusing refusing("ListAdd", -1);
        EXPECT_EQ(-4, AppendObj(1, sizeof(object), &object, list));
    }
    EXPECT_EQ(0, list->iCount);
    EXPECT_EQ(0, AppendObj(1, sizeof(object), &object, list));
    EXPECT_EQ(&object, TakeObj(FirstObj(list), list));
    EXPECT_EQ(0, DestroyList(list));
}

TEST(StepThatFails, ALabelWhoseTextCannotBeDestroyedStays) {
    const GUICHAR text[] = {'a', 0};
    GUILABEL* label = CreateLabel(0, 0, 10, 10, text);
    {
        const test::Refusing refusing("DestroyText", -3);
        EXPECT_EQ(-3, DestroyLabel(&label));
    }
    ASSERT_NE(nullptr, label);
    EXPECT_NE(nullptr, label->pLblText);
    EXPECT_EQ(0, DestroyLabel(&label));
}

TEST(StepThatFails, APictureWhoseBitmapCannotBeDestroyedKeepsIt) {
    GUIPICTURE* picture = CreatePicture(0, 0, 10, 10, "old.bmp");
    for (const int code : {-2, -3}) {
        const test::Refusing refusing("DestroyBitmap", -3);
        EXPECT_EQ(code, code == -2 ? SetPictureBitmap("new.bmp", picture) : DestroyPicture(&picture));
        ASSERT_NE(nullptr, picture);
        ASSERT_NE(nullptr, picture->pPicBitmap);
        EXPECT_STREQ("old.bmp", picture->pPicBitmap->strBitmapFile);
    }
    EXPECT_EQ(0, DestroyPicture(&picture));
}

TEST(StepThatFails, ABitmapThatCannotBeMovedSaysSo) {
    GUIIMAGE image = {};
    char path[] = "a.bmp";
    GUIBITMAP bitmap = {path, -1, 0, 0, 0, 0, &image};
    const test::Refusing refusing("SetImagePlace", -1);
    EXPECT_EQ(-2, SetBitmapPlace(3, 4, &bitmap));
}
