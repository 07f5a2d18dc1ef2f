// Where every control of every screen is, also those whose edge nobody sees: what lies under a touch and what
// a text fills. The tables here are the layout once more, written down apart from the screens' own.
#include <algorithm>

#include "device/common_opt.h"
#include "gui/guitext.h"
#include "screens/wnd_frmadjust.h"
#include "screens/wnd_frmapd_adjust.h"
#include "screens/wnd_frmdialog.h"
#include "screens/wnd_frme2prom.h"
#include "screens/wnd_frmkeycheck.h"
#include "screens/wnd_frmmain.h"
#include "screens/wnd_frmmainboard_fct.h"
#include "screens/wnd_frmopm_fct.h"
#include "screens/wnd_frmoptcheck.h"
#include "screens/wnd_frmopticalmain.h"
#include "screens/wnd_frmpulsewidth.h"
#include "tests/screens/made_controls.h"
#include "tests/screens/screen_fixture.h"

namespace {

// One control: "<kind> <x>,<y> <width>x<height> <bitmap or text>".
using Rows = std::vector<std::string>;

std::string Row(const char* kind, unsigned x, unsigned y, unsigned width, unsigned height,
                const std::string& content) {
    return std::string(kind) + " " + std::to_string(x) + "," + std::to_string(y) + " " +
           std::to_string(width) + "x" + std::to_string(height) + " " + content;
}
std::string Picture(unsigned x, unsigned y, unsigned width, unsigned height, const std::string& bitmap) {
    return Row("picture", x, y, width, height, bitmap);
}
std::string Label(unsigned x, unsigned y, unsigned width, unsigned height, const std::string& text = "") {
    return Row("label", x, y, width, height, text);
}
std::string Centred(unsigned x, unsigned y, unsigned width, unsigned height, const std::string& text = "") {
    return Row("centred", x, y, width, height, text);
}

Rows operator+(Rows rows, const Rows& more) {
    rows.insert(rows.end(), more.begin(), more.end());
    return rows;
}

// count labels without a text, one below the other.
Rows EmptyLines(int count, unsigned x, unsigned y, unsigned width, unsigned height, unsigned pitch) {
    Rows rows;
    for (int i = 0; i < count; ++i)
        rows.push_back(Label(x, y + static_cast<unsigned>(i) * pitch, width, height));
    return rows;
}

// What all full screens have in common, and all but the start screen the Back button.
Rows Frame(const char* title, const char* background, const char* info) {
    return {Picture(0, 0, 800, 30, "bar_status.bmp"), Picture(0, 30, 800, 420, background),
            Picture(0, 450, 800, 30, "bar_info.bmp"), Centred(0, 5, 800, 30, title),
            Label(20, 458, 630, 16, info)};
}
const std::string kBack = Picture(650, 454, 60, 25, "btn_back.bmp");

// A button and its caption, counted from its corner.
Rows Button(unsigned x, unsigned y, const char* caption, const char* bitmap = "btn_enable.bmp",
            unsigned right = 5, unsigned below = 9, unsigned height = 53) {
    return {Picture(x, y, 105, 53, bitmap), Centred(x + right, y + below, 95, height, caption)};
}

// ---- What is there ----

std::string Ascii(const GUITEXT* text) {
    std::string ascii;
    for (const GUICHAR* unit = text == nullptr ? nullptr : text->pTextData; unit != nullptr && *unit != 0;
         ++unit)
        ascii += static_cast<char>(*unit);
    return ascii;
}

std::string RowOf(const char* kind, const GUIVISIBLE& visible, const std::string& content) {
    const GUIRECTANGLE& area = visible.Area;
    return Row(kind, area.Start.x, area.Start.y, area.End.x + 1 - area.Start.x, area.End.y + 1 - area.Start.y,
               content);
}

Rows Made() {
    Rows rows;
    for (const test::MadePicture& made : test::MadePictures()) {
        const GUIPICTURE* picture = made.picture;
        const std::string file = picture->pPicBitmap == nullptr ? "" : picture->pPicBitmap->strBitmapFile;
        rows.push_back(RowOf("picture", picture->Visible, file.substr(file.rfind('/') + 1)));
    }
    for (const GUILABEL* label : test::MadeLabels()) {
        const char* const kinds[] = {"label", "right", "centred"};
        rows.push_back(RowOf(kinds[label->iLblAlign], label->Visible, Ascii(label->pLblText)));
    }
    std::sort(rows.begin(), rows.end());
    return rows;
}

class ScreenLayout : public test::ScreenTest {
  protected:
    void ExpectControls(const SCREEN_ENTRY& entry, Rows rows, uint16_t connected = 0) {
        PowerOn();
        OPMGUIShare.usIsConnect = connected;
        test::ForgetMadeControls();
        Start(entry);
        ExpectMade(std::move(rows));
    }
    static void ExpectMade(Rows rows) {
        std::sort(rows.begin(), rows.end());
        EXPECT_THAT(Made(), testing::ElementsAreArray(rows));
    }
};

}  // namespace

TEST_F(ScreenLayout, StartScreen) {
    const Rows icons = {
        Picture(500, 170, 80, 80, "ico_1.bmp"),
        Centred(470, 255, 140, 16, "Opticl_FCT"),
        Picture(200, 170, 80, 80, "ico_2.bmp"),
        Centred(170, 255, 140, 16, "MainBoard_FCT"),
    };
    const char* const title = "MainBoard  testV20150629";
    ExpectControls(FrmMain, Frame(title, "bg_main.bmp", "Welcome to K905_FCT !") + icons);
    ExpectControls(FrmMain, Frame(title, "bg_main.bmp", "Connect Success !") + icons, 1);
}

TEST_F(ScreenLayout, Dialog) {
    GUICHAR* text = TransString("Plug it in.");
    Start(FrmMain);
    test::ForgetMadeControls();
    int answer = -1;
    ASSERT_EQ(0, DialogInit(260, 150, TransString("Warning"), text, &answer, 0, GetCurrWindow(), nullptr,
                            nullptr, nullptr));
    Run(500);
    ExpectMade({
        Picture(0, 0, 800, 30, "bar_status.bmp"),
        Picture(260, 150, 280, 172, "frm_warn_bg.bmp"),
        Picture(280, 210, 32, 32, "warring.bmp"),
        Centred(260, 155, 280, 20, "Warning"),
        Centred(280, 215, 240, 50),
        Picture(398, 290, 60, 24, "warn_btn_unpress.bmp"),
        Centred(398, 295, 60, 20, "OK"),
        Picture(468, 290, 60, 24, "warn_btn_unpress.bmp"),
        Centred(468, 295, 60, 20, "Cancel"),
    });
    End();
    free(text);
}

TEST_F(ScreenLayout, MainBoard) {
    for (const uint16_t connected : {0, 1}) {
        const char* const board = connected == 1 ? "btn_enable.bmp" : "btn_disable.bmp";
        const Rows frame = Frame("K905 Mainboard FCT !", "bg_desk.bmp", "") +
                           Rows{kBack, Picture(0, 0, 800, 480, ""),
                                Picture(20, 30, 400, 400, "frm_dataInfo.bmp"), Label(60, 220, 300, 100)} +
                           EmptyLines(13, 25, 46, 390, 20, 29);
        const Rows buttons = Button(600, 35, "Voltage Check", board) + Button(600, 95, "ADC", board) +
                             Button(435, 155, "Arm Eeprom") + Button(435, 215, "Key Check") +
                             Button(435, 275, "Speaker Check") + Button(435, 335, "USB Check") +
                             Button(435, 395, "") + Button(435, 64, "Connect") + Button(650, 95, "") +
                             Button(555, 155, "FPGA DDR") + Button(555, 215, "Visible Check") +
                             Button(555, 275, "battery voltage") + Button(555, 335, "RTC") +
                             Button(555, 395, "SDcard Check") + Button(675, 155, "") + Button(675, 215, "") +
                             Button(675, 275, "") + Button(675, 335, "") + Button(675, 395, "Auto", board);
        ExpectControls(FrmMainBoard, frame + buttons, connected);
    }
}

TEST_F(ScreenLayout, KeyCheck) {
    const struct {
        unsigned x, y, side, height;  // of the picture; a key of the pad is square
        const char* bitmap;
        const char* caption;
        unsigned captionX, captionY, captionWidth;
    } keys[] = {
        {30, 50, 120, 60, "enter_unpress.bmp", "Menu", 20, 60, 100},
        {30, 150, 120, 60, "enter_unpress.bmp", "F1", 20, 160, 100},
        {30, 250, 120, 60, "enter_unpress.bmp", "F2", 20, 260, 100},
        {30, 350, 120, 60, "enter_unpress.bmp", "F3", 20, 360, 100},
        {140, 50, 120, 60, "enter_unpress.bmp", "F4", 130, 60, 100},
        {140, 150, 120, 60, "enter_unpress.bmp", "F5", 130, 160, 100},
        {140, 250, 120, 60, "enter_unpress.bmp", "Esc", 130, 260, 100},
        {140, 350, 120, 60, "enter_unpress.bmp", "File", 130, 360, 100},
        {280, 50, 120, 60, "enter_unpress.bmp", "Scale", 270, 60, 100},
        {400, 50, 120, 60, "enter_unpress.bmp", "Setup", 390, 60, 100},
        {280, 350, 120, 60, "enter_unpress.bmp", "Realt", 270, 360, 100},
        {400, 350, 120, 60, "enter_unpress.bmp", "Avg", 390, 360, 100},
        {355, 130, 70, 70, "up_unpress.bmp", "Up", 340, 140, 80},
        {355, 275, 70, 70, "down_unpress.bmp", "Down", 340, 284, 80},
        {285, 200, 70, 70, "left_unpress.bmp", "Left", 268, 208, 80},
        {425, 200, 70, 70, "right_unpress.bmp", "Right", 410, 208, 80},
        {355, 200, 70, 70, "key_unpress.bmp", "Enter", 340, 208, 80},
        {620, 200, 70, 70, "key_unpress.bmp", "Knob", 605, 208, 80},
        {690, 200, 70, 70, "right_unpress.bmp", "Clock", 675, 208, 80},
        {550, 200, 70, 70, "left_unpress.bmp", "Anti", 535, 208, 80},
    };
    Rows rows = Frame("Key Check", "bg_desk.bmp", "");
    rows.pop_back();  // it has no information line
    rows.push_back(kBack);
    for (const auto& key : keys) {
        rows.push_back(Picture(key.x, key.y, key.side, key.height, key.bitmap));
        rows.push_back(Centred(key.captionX, key.captionY, key.captionWidth, 50, key.caption));
    }
    ExpectControls(FrmKeyCheck, rows);
}

TEST_F(ScreenLayout, OpticalMenu) {
    const Rows icons = {
        kBack,
        Picture(350, 120, 80, 80, "ico_1.bmp"),
        Centred(320, 205, 140, 16, "OPM_Adjust"),
        Picture(550, 120, 80, 80, "ico_2.bmp"),
        Centred(520, 205, 140, 16, "OPT_Adjust"),
        Picture(150, 120, 80, 80, "ico_3.bmp"),
        Centred(120, 205, 140, 16, "OPM_FCT"),
        Picture(150, 270, 80, 80, "ico_4.bmp"),
        Centred(120, 355, 140, 16, "APD_Adjust"),
        Picture(350, 270, 80, 80, "ico_7.bmp"),
        Centred(320, 355, 140, 16, "E2PROM"),
        Picture(550, 270, 80, 80, "ico_6.bmp"),
        Centred(520, 355, 140, 16, "Pulse Width"),
    };
    const char* const title = "OPM  testV20150629";
    ExpectControls(FrmOpticalMain, Frame(title, "bg_main.bmp", "K905 Optical FCT !") + icons);
    ExpectControls(FrmOpticalMain, Frame(title, "bg_main.bmp", "Connect Success !") + icons, 1);
}

TEST_F(ScreenLayout, OpmTest) {
    for (const uint16_t connected : {0, 1}) {
        const char* const board = connected == 1 ? "btn_enable.bmp" : "btn_disable.bmp";
        const Rows rows =
            Frame("OPM FCT", "bg_desk.bmp", "") + Rows{kBack, Picture(5, 30, 400, 400, "frm_dataInfo.bmp")} +
            Button(450, 35, "Connect", "btn_enable.bmp", 0) + Button(600, 35, "Voltage Check", board, 0) +
            Button(600, 95, "Signal chain", board, 0) +
            Button(600, 155, "Eeprom Check", "btn_enable.bmp", 0) +
            Button(600, 215, "Temperature", "btn_enable.bmp", 0) + EmptyLines(5, 25, 45, 350, 24, 45) +
            EmptyLines(9, 25, 252, 370, 19, 19) + EmptyLines(11, 25, 43, 370, 19, 19);
        ExpectControls(FrmOPM, rows, connected);
    }
}

TEST_F(ScreenLayout, PulseWidth) {
    const char* const captions[] = {"1310nm 100ns 6307Chnnel", "1550nm 3ns   6300Chnnel",
                                    "1550nm 10ns  6300Chnnel", "1550nm 100ns 6307Chnnel",
                                    "1550nm 100ns 6303Chnnel", "1550nm 100ns 6301Chnnel"};
    Rows rows = Frame("PulseWid FCT", "bg_desk.bmp", "") +
                Rows{kBack, Picture(5, 30, 400, 400, "frm_dataInfo.bmp"), Centred(5, 220, 400, 100)} +
                EmptyLines(10, 25, 45, 370, 19, 38) + EmptyLines(10, 25, 64, 370, 19, 38);
    for (unsigned i = 0; i < 6; ++i)
        rows = rows + Button(650, 35 + 60 * i, captions[i]);
    ExpectControls(FrmPulseWid, rows);
}

TEST_F(ScreenLayout, OpmAdjust) {
    for (const uint16_t connected : {0, 1}) {
        const char* const board = connected == 1 ? "btn_enable.bmp" : "btn_disable.bmp";
        const Rows rows = Frame("OPM Adjust", "bg_desk.bmp", "infomation eara!") +
                          Rows{kBack, Picture(5, 30, 400, 400, "frm_dataInfo.bmp")} +
                          Button(450, 64, "Connect", "btn_enable.bmp", 15, 18, 34) +
                          Button(600, 64, "Apd", board, 15, 18, 34) +
                          Button(600, 124, "Vdd", board, 15, 18, 34) +
                          Button(600, 184, "Att0", board, 15, 18, 34) +
                          Button(600, 244, "Att1", board, 15, 18, 34) + EmptyLines(4, 10, 45, 390, 90, 100);
        ExpectControls(FrmAdjust, rows, connected);
    }
}

TEST_F(ScreenLayout, ApdAdjust) {
    const Rows axes = {
        Label(0, 45, 40, 20, "4000"),  Label(0, 160, 40, 20, "3000"),   Label(0, 270, 40, 20, "2000"),
        Label(40, 285, 70, 20, "0"),   Label(195, 285, 70, 20, "20"),   Label(350, 285, 70, 20, "40"),
        Label(505, 285, 70, 20, "60"), Label(660, 285, 70, 20, "80 C"),
    };
    const Rows panels = {
        kBack,
        Picture(690, 215, 105, 53, "btn_disable.bmp"),
        Label(40, 35, 50, 20, "Trace :"),
        Picture(40, 55, 635, 230, "bg_main_trace.bmp"),
        Picture(40, 315, 340, 120, "frm_data.bmp"),
        Label(45, 320, 330, 110, "data area"),
        Picture(380, 315, 295, 120, "frm_cond.bmp"),
        Label(385, 320, 285, 110, "info area"),
    };
    ExpectControls(FrmAPDAdj, Frame("APD Adjust", "bg_desk.bmp", "") + axes + panels +
                                  Button(690, 95, "Start") + Button(690, 155, "Stop") +
                                  Button(690, 215, "E2PROM"));
}

TEST_F(ScreenLayout, OpticalCheck) {
    ExpectControls(FrmOptcheck,
                   Frame("OPM Adjust", "bg_desk.bmp", "infomation eara!") +
                       Rows{kBack, Picture(5, 30, 400, 400, "frm_dataInfo.bmp"),
                            Label(10, 45, 390, 90, "Please plug in 1KM - 2KM optical fiber before adjust"),
                            Label(10, 245, 390, 90, "Please plug in 5 m optical fiber before adjust")} +
                       Button(500, 64, "Opt check", "btn_disable.bmp", 18, 18, 34) +
                       Button(500, 224, "Dev adjust", "btn_disable.bmp", 18, 18, 34));
}

// Its texts are those of e2prom_view_test.cpp.
TEST_F(ScreenLayout, E2promView) {
    Start(FrmE2PROM);
    Rows places;
    for (const std::string& row : Made())
        places.push_back(row.find("pOpmTunning") == std::string::npos ? row
                                                                      : row.substr(0, row.find(" pOpm") + 1));
    const Rows rows = Frame("E2PROM", "bg_desk.bmp", "") + Rows{kBack} + EmptyLines(12, 20, 40, 380, 30, 20) +
                      EmptyLines(12, 420, 40, 380, 30, 20);
    EXPECT_THAT(places, testing::UnorderedElementsAreArray(rows));
}
