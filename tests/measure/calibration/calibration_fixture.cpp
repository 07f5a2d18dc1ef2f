#include "tests/measure/calibration/calibration_fixture.h"

#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <numeric>

#include "device/Opm.h"
#include "device/common_opt.h"
#include "device/operator_report.h"
#include "device/share_data.h"
#include "measure/adjust.h"
#include "measure/apd.h"

namespace test {

namespace {
const OPM_TUNING initialTuning = cOpmTunning;
}

Errors::~Errors() {
    if (errors_.empty())
        return;
    printf("%-24s %3zu modules: mean %8.3f, standard deviation %7.3f, largest %7.3f %s\n", what_,
           errors_.size(), Mean(), Deviation(), Largest(), unit_);
}

double Errors::Mean() const {
    return std::accumulate(errors_.begin(), errors_.end(), 0.0) / static_cast<double>(errors_.size());
}

double Errors::Deviation() const {
    double squares = 0;
    for (const double error : errors_)
        squares += (error - Mean()) * (error - Mean());
    return std::sqrt(squares / static_cast<double>(errors_.size()));
}

double Errors::Largest() const {
    double largest = 0;
    for (const double error : errors_)
        largest = std::max(largest, std::fabs(error));
    return largest;
}

double Errors::Least() const {
    return *std::min_element(errors_.begin(), errors_.end());
}

Calibration::Calibration() {
    std::string folder = (std::filesystem::temp_directory_path() / "k905-app-XXXXXX").string();
    appDir_ = mkdtemp(folder.data());
    for (const char* name : {"k905fpga_LAT_LFE5U-45F.bit", "k905fpga_XIN_LX25.bin", "k905fpga_XIN_LX16.bin"})
        std::ofstream(appDir_ + "/" + name) << name << std::string(2500, 'b');
    k905::LinkedInstrument::Options options;
    options.appDir = appDir_;
    linked_ = std::make_unique<k905::LinkedInstrument>(options);
    Set("usb.sticks", 0);
    cOpmTunning = initialTuning;
    OpmTuningResult = {};
    iATT0 = 800;
    SetStopThreadFlag(1);
    SetAPDAdjStopFlag(1);
    EXPECT_EQ(0, Quietly([] { return OPMTestInit(); }));
    OPMGUIShare.usIsConnect = 0;
    Quietly([] { return SerialInitThd(nullptr); });
    EXPECT_EQ(1, OPMGUIShare.usIsConnect);
}

Calibration::~Calibration() {
    for (int* fd : {&opticFD, &serialFD}) {
        if (*fd >= 0)
            close(*fd);
        *fd = -1;
    }
    linked_.reset();
    std::error_code ignored;
    std::filesystem::remove_all(appDir_, ignored);
}

void Calibration::Plug(unsigned seed) {
    Set("module.seed", seed);
    Set("module.temperature_rate", 0);
    Set("module.temperature", 25);
    cOpmTunning = initialTuning;
    SaveOpmTunning();
    OpmTuningResult = {};
    iATT0 = 800;
    operator_.Clear();
}

}  // namespace test
