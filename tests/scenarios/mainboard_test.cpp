// The main board's job, on a good board and on faulty ones.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "simulator/panel/check.h"
#include "tests/scenarios/operator.h"

namespace k905 {
namespace {

using ::testing::AllOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

// Steps of the whole job that fail on an instrument with these faults. Their sessions stay beside the
// pictures.
std::vector<std::string> FailedSteps(const nlohmann::json& faults, const std::string& folder) {
    CheckOptions options;
    options.jobs = {CheckJob::kMainBoard};
    options.outDir = std::string(K905_BINARY_DIR) + "/scenarios/" + folder;
    if (!faults.is_null())
        options.bench.start = {{"faults", faults}};
    std::vector<std::string> failed;
    for (const CheckResult& result : RunCheck(options, [](const CheckResult&) {}))
        if (!result.Passed())
            failed.push_back(result.step);
    return failed;
}

int Pictures(const std::string& folder) {
    int count = 0;
    for (const auto& entry :
         std::filesystem::directory_iterator(std::string(K905_BINARY_DIR) + "/scenarios/" + folder))
        count += entry.path().extension() == ".png";
    return count;
}

TEST(MainBoardJob, PassesOnAGoodBoard) {
    EXPECT_THAT(FailedSteps(nullptr, "good"), IsEmpty());
    EXPECT_EQ(39, Pictures("good"));
}

TEST(MainBoardJob, NamesTheStepsThatAMissingStickMakesFail) {
    EXPECT_THAT(FailedSteps({{"usb.missing", true}}, "usb"), ElementsAre("USB", "Auto"));
}

TEST(MainBoardJob, NamesTheStepsThatAnOpenAdcPathMakesFail) {
    EXPECT_THAT(FailedSteps({{"adc.path", true}}, "adc"), ElementsAre("ADC", "Auto"));
}

TEST(MainBoardJob, NamesTheStepsThatAFailingOpticDriverMakesFail) {
    EXPECT_THAT(FailedSteps({{"optic.ioctl_failing", true}}, "optic"),
                ElementsAre("ADC", "Speaker", "FPGA DDR", "Visible on", "Visible off", "Auto"));
}

TEST(MainBoardJob, FailsAtOnceWhenNothingCanBeRead) {
    EXPECT_THAT(FailedSteps({{"font.missing", true}}, "font"), ElementsAre("Start"));
}

TEST(MainBoardJob, PassesWithoutAnIcon) {
    EXPECT_THAT(FailedSteps({{"bitmap.missing", "ico_2.bmp"}}, "icon-missing"), IsEmpty());
}

TEST(MainBoardJob, PassesWithABrokenBar) {
    EXPECT_THAT(FailedSteps({{"bitmap.broken", "bar_status.bmp"}}, "bar-broken"), IsEmpty());
}

// Captions and results are drawn over each other then, so not all can be read; what is touched still works.
TEST(MainBoardJob, EndsInOrderWithoutButtonsAndFrame) {
    const nlohmann::json bitmaps = {"btn_enable.bmp", "frm_dataInfo.bmp"};
    EXPECT_THAT(FailedSteps({{"bitmap.missing", bitmaps}}, "bitmaps-missing"),
                AllOf(Not(Contains("End")), Not(Contains("Connect")), Not(Contains("Key check"))));
}

TEST(MeasurementBoard, UnpluggedBeforeConnectIsReportedAndCanBeRepaired) {
    Operator person(Faults{{"board.unplugged", true}});
    ASSERT_TRUE(person.OpenMainBoard());
    person.Press("Connect");
    EXPECT_TRUE(person.Sees("Read Serial Time Out.", 6000));
    EXPECT_TRUE(person.Sees("Connect fail!!!", 12000));
    person.Settle();

    // Without the board its checks cannot be started.
    const Picture before = person.At().Screen();
    for (const char* control : {"Voltage Check", "ADC", "Auto"}) {
        person.Press(control);
        person.At().Advance(1500);
        EXPECT_EQ(before.bytes, person.At().Screen().bytes) << control;
    }

    person.At().Fault("board.unplugged", false);
    ASSERT_TRUE(person.Connect());
    person.Press("Voltage Check");
    EXPECT_TRUE(person.Sees("OK  TP68:"));
}

TEST(MeasurementBoard, UnpluggedHalfWayFailsTheRemainingPointsOnly) {
    Operator person;
    ASSERT_TRUE(person.OpenMainBoard() && person.Connect());
    person.Press("Voltage Check");
    ASSERT_TRUE(person.Sees("OK  TP107:"));
    person.At().Fault("board.unplugged", true);
    ASSERT_TRUE(person.Sees("F.  TP68:  99.99999V", 70000));
    person.Settle();
    for (const char* line : {"OK  TP97:", "OK  TP103:", "OK  TP109:", "OK  TP105:", "OK  TP107:"})
        EXPECT_TRUE(person.SeesNow(line)) << line;
    for (const char* line : {"F.  TP99:   99.99999V", "F.  TP57:  99.99999V", "F.  TP24:   99.99999V"})
        EXPECT_TRUE(person.SeesNow(line)) << line;

    // The link is still open: once plugged in again, the next check passes.
    person.At().Fault("board.unplugged", false);
    person.Press("Voltage Check");
    EXPECT_TRUE(person.Sees("OK  TP68:"));
    EXPECT_FALSE(person.SeesNow("F.")) << person.At().Describe();
}

TEST(MeasurementBoard, ASecondConnectClosesTheLink) {
    Operator person;
    ASSERT_TRUE(person.OpenMainBoard() && person.Connect());
    person.Press("Connect");
    EXPECT_TRUE(person.Sees("Connect fail!!!"));
    EXPECT_TRUE(person.Connect());
}

TEST(MeasurementBoard, ALateReplyIsATimeOutAndTheInstrumentGoesOn) {
    Operator person(Faults{{"board.reply_late", true}});
    ASSERT_TRUE(person.OpenMainBoard());
    person.Press("Connect");
    EXPECT_TRUE(person.Sees("Read Serial Time Out.", 6000));
    person.At().Fault("board.reply_late", false);
    person.At().Advance(20000);
    person.Press("USB Check");
    EXPECT_TRUE(person.Sees("Usb Check OK!"));
}

TEST(Acquisition, ThatNeverEndsIsReportedAndTheInstrumentGoesOn) {
    Operator person;
    ASSERT_TRUE(person.OpenMainBoard() && person.Connect());
    person.At().Fault("optic.never_ready", true);
    person.Press("ADC");
    ASSERT_TRUE(person.Sees("Please, wait aboult 10 sec!"));
    ASSERT_TRUE(person.Sees("ADC Check ERROR, Maybe not connect!", 20000));
    person.At().Fault("optic.never_ready", false);
    person.Press("ADC");
    EXPECT_TRUE(person.Sees("OK! result = 0.2", 20000));
}

TEST(Font, MissingAtStartLeavesNoTextsAndAnOrderlyEnd) {
    Operator person(Faults{{"font.missing", true}});
    person.At().Advance(3000);
    EXPECT_TRUE(person.At().Status().running) << person.At().DescribeEnding();
    EXPECT_EQ(0, person.At().Stop().status) << person.At().DescribeEnding();
    EXPECT_EQ(0, person.At().Status().signal);
}

}  // namespace
}  // namespace k905
