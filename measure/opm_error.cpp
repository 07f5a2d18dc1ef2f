#include "device/operator_report.h"
#include "measure/common_opm.h"

// Message of each status code, from -13 up to -1. -10 is no code of its own and has the text of unknown
// codes.
constexpr int32_t FIRST_CODE = OPM_ERR_SERIAL_REOPEN;
static const char* const ErrorTexts[] = {
    "Reopen Serial.",              // OPM_ERR_SERIAL_REOPEN
    "Write Serial Failed.",        // OPM_ERR_SERIAL_WRITE
    "Receive Adc Chanel Error.",   // OPM_ERR_ADC_CHANNEL
    "Unkown Error.",               // -10
    "Receive Data Length Error.",  // OPM_ERR_RECV_LEN
    "Ajust try times out.",        // OPM_ERR_TRY_TIMEOUT
    "Open OPM Device Failed.",     // OPM_ERR_DEV_OPEN
    "Initialize FPGA Failed.",     // OPM_ERR_FPGA_INIT
    "Write OPM Registor Failed.",  // OPM_ERR_REG_WRITE
    "Read OPM Registor Failed.",   // OPM_ERR_REG_READ
    "Open Serial Failed.",         // OPM_ERR_SERIAL_OPEN
    "Read Serial Time Out.",       // OPM_ERR_SERIAL_TIMEOUT
    "Invalid Wave Length.",        // OPM_ERR_WAVELEN
};
static_assert(sizeof(ErrorTexts) / sizeof(ErrorTexts[0]) == -FIRST_CODE, "one text a code");
constexpr int32_t UNKNOWN_CODE = -10;

const char* OpmErrorText(int32_t err) {
    const bool bKnown = err >= FIRST_CODE && err < 0;
    return ErrorTexts[(bKnown ? err : UNKNOWN_CODE) - FIRST_CODE];
}

// The three handlers differ only in the screen they report to.
static int32_t ShowError(int32_t err, int (*fnSetInfo)(const char* pInfo)) {
    fnSetInfo(OpmErrorText(err));
    return 0;
}

int32_t OPMAdjustErrorHandler(int32_t err) {
    return ShowError(err, FrmAdjustSetInfo);
}

int32_t MainBoardErrorHandler(int32_t err) {
    return ShowError(err, FrmMainBoardSetInfo);
}

int32_t OPMOPMErrorHandler(int32_t err) {
    return ShowError(err, FrmOPMSetInfo);
}
