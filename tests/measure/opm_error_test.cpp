#include <gtest/gtest.h>
#include <limits.h>

#include "measure/common_opm.h"
#include "tests/support/operator_capture.h"

namespace {

const struct {
    int32_t code;
    const char* text;
} kMessages[] = {
    {-1, "Invalid Wave Length."},
    {-2, "Read Serial Time Out."},
    {-3, "Open Serial Failed."},
    {-4, "Read OPM Registor Failed."},
    {-5, "Write OPM Registor Failed."},
    {-6, "Initialize FPGA Failed."},
    {-7, "Open OPM Device Failed."},
    {-8, "Ajust try times out."},
    {-9, "Receive Data Length Error."},
    {-10, "Unkown Error."},
    {-11, "Receive Adc Chanel Error."},
    {-12, "Write Serial Failed."},
    {-13, "Reopen Serial."},
    {-14, "Unkown Error."},
    {0, "Unkown Error."},
    {5, "Unkown Error."},
    {INT_MAX, "Unkown Error."},
    {INT_MIN, "Unkown Error."},
};

}  // namespace

TEST(OpmError, EachCodeHasItsMessageOnEachScreen) {
    const struct {
        int32_t (*handler)(int32_t);
        std::string line;
    } screens[] = {{OPMAdjustErrorHandler, "adjust: "},
                   {MainBoardErrorHandler, "mainboard: "},
                   {OPMOPMErrorHandler, "opm: "}};
    for (const auto& screen : screens) {
        for (const auto& message : kMessages) {
            test::OperatorCapture capture;
            EXPECT_EQ(0, screen.handler(message.code));
            EXPECT_EQ(std::vector<std::string>{screen.line + message.text}, capture.Lines()) << message.code;
        }
    }
}

TEST(OpmError, ConstantsHaveTheirNumbers) {
    const int32_t codes[] = {OPM_ERR_WAVELEN,      OPM_ERR_SERIAL_TIMEOUT,
                             OPM_ERR_SERIAL_OPEN,  OPM_ERR_REG_READ,
                             OPM_ERR_REG_WRITE,    OPM_ERR_FPGA_INIT,
                             OPM_ERR_DEV_OPEN,     OPM_ERR_TRY_TIMEOUT,
                             OPM_ERR_RECV_LEN,     -10,
                             OPM_ERR_ADC_CHANNEL,  OPM_ERR_SERIAL_WRITE,
                             OPM_ERR_SERIAL_REOPEN};
    for (int32_t i = 0; i < 13; ++i)
        EXPECT_EQ(-1 - i, codes[i]);
}
