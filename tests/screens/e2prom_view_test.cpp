#include <unistd.h>

#include "device/Opm.h"
#include "device/common_opt.h"
#include "screens/wnd_frme2prom.h"
#include "tests/screens/screen_fixture.h"

using testing::ElementsAre;
using testing::HasSubstr;

namespace {

const OPM_TUNING kRecord = {
    0x12345,
    0x0ABC,
    {0x600, 0x550, 0x551, 0xFFFF0552},
    {0x810, 0x6B0, 0x560, 0x420},
    25.7f,
    {0x9C3, 0x7BB, 0x5B9, 0x3B0, 0x1B0, 7},
    {1.5f, -2.25f, 0, 3, 123.456f, 5},
    -17,
};

}  // namespace

class E2promView : public test::ScreenTest {
  protected:
    // Stores the record in the driver, forgets it, and opens the screen.
    void Open(const OPM_TUNING& record) {
        Start(FrmE2PROM);
        cOpmTunning = record;
        SaveOpmTunning();
        cOpmTunning = {};
        ASSERT_EQ(0, SwitchScreen(GetCurrWindow(), FrmE2PROM));
        Run(500);
    }
};

TEST_F(E2promView, ShowsTheRecordFieldByField) {
    Open(kRecord);
    EXPECT_THAT(
        Texts({0, 30, 410, 300}),
        ElementsAre("pOpmTunning->iAtt0=2345", "pOpmTunning->iAtt1=0abc", "pOpmTunning->iVdd0 =0810",
                    "pOpmTunning->iVdd1 =06b0", "pOpmTunning->iVdd2 =0560", "pOpmTunning->iVdd3 =0420",
                    "pOpmTunning->iApdBias0 =0600", "pOpmTunning->iApdBias1 =0550",
                    "pOpmTunning->iApdBias2 =0551", "pOpmTunning->iApdBias3 =0552",
                    "pOpmTunning->iTemperatureSet=0019", "pOpmTunning->iApdVoltageSet0 =09c3"));
    EXPECT_THAT(Texts({410, 30, 390, 300}),
                ElementsAre("pOpmTunning->iApdVoltageSet1 =07bb", "pOpmTunning->iApdVoltageSet2 =05b9",
                            "pOpmTunning->iApdVoltageSet3 =03b0", "pOpmTunning->iApdVoltageSet4 =01b0",
                            "pOpmTunning->iApdVoltageSet5 =0007", "pOpmTunning->fTempCoefficient0 = 1.50",
                            "pOpmTunning->fTempCoefficient1 =-2.25", "pOpmTunning->fTempCoefficient2 = 0.00",
                            "pOpmTunning->fTempCoefficient3 = 3.00", "pOpmTunning->fTempCoefficient4 =123.46",
                            "pOpmTunning->fTempCoefficient5 = 5.00", "pOpmTunning->OffsetPoint =ffffffef"));
    EXPECT_EQ(0xF8A800u, ColorOf("pOpmTunning->iAtt0=2345"));
    EXPECT_THAT(Texts({0, 0, 800, 30}), ElementsAre("E2PROM"));
    EXPECT_THAT(Printed(), HasSubstr("-------pOpmTunning->iAtt0 = 74565------\n"));
    EXPECT_TRUE(test::MatchesGolden(Screenshot(), "screens/e2prom"));
}

TEST_F(E2promView, ReadsTheDriverOnceAndPrintsNoRecord) {
    Start(FrmE2PROM);
    linked_->StartTrace();
    ASSERT_EQ(0, SwitchScreen(GetCurrWindow(), FrmE2PROM));
    Run(3000);
    std::vector<std::string> accesses;
    for (const std::string& line : linked_->TraceLines({"file"}))
        if (line.find("tuning") != std::string::npos || line.find("optic0") != std::string::npos)
            accesses.push_back(line);
    EXPECT_THAT(accesses, ElementsAre("tuning read 0"));
    EXPECT_THAT(linked_->TraceLines({"reg", "ioctl"}), testing::IsEmpty());
}

TEST_F(E2promView, ShowsTheMemorysValuesWhenTheDriverCannotBeRead) {
    Open(kRecord);
    cOpmTunning = kRecord;
    cOpmTunning.iAtt0 = 0x77;
    Fault("optic.tuning_failing");
    ASSERT_EQ(0, SwitchScreen(GetCurrWindow(), FrmE2PROM));
    Run(500);
    EXPECT_EQ("pOpmTunning->iAtt0=0077", Texts({0, 30, 410, 300}).at(0));
}

TEST_F(E2promView, ListsTheWindowAndTheBackButtonOnly) {
    Start(FrmE2PROM);
    EXPECT_THAT(Components(), ElementsAre("0,0", "650,454"));
    EXPECT_EQ(1, Registrations(GUIMESSAGE_KEY_DOWN));
    EXPECT_EQ(1, Registrations(GUIMESSAGE_KEY_UP));
    EXPECT_EQ(1, Registrations(GUIMESSAGE_TCH_DOWN));
    EXPECT_EQ(1, Registrations(GUIMESSAGE_TCH_UP));
    EXPECT_EQ(1, Registrations(GUIMESSAGE_ERR_PROC));
    const test::Picture idle = Screenshot();
    Key("menu", true);
    Key("menu", false);
    EXPECT_EQ(idle.rgb, Screenshot().rgb);
    Tap(680, 465);
    EXPECT_THAT(Texts({0, 0, 800, 30}), ElementsAre("OPM  testV20150629"));
}
