#include "tests/device/instrument/device_fixture.h"

#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

namespace test {

namespace {
const OPM_TUNING initialTuning = cOpmTunning;
}

DeviceTest::DeviceTest() {
    std::string folder = (std::filesystem::temp_directory_path() / "k905-app-XXXXXX").string();
    appDir_ = mkdtemp(folder.data());
    for (const char* name : {"k905fpga_LAT_LFE5U-45F.bit", "k905fpga_XIN_LX25.bin", "k905fpga_XIN_LX16.bin"})
        std::ofstream(appDir_ + "/" + name) << name << std::string(2500, 'b');
    k905::LinkedInstrument::Options options;
    options.appDir = appDir_;
    linked_ = std::make_unique<k905::LinkedInstrument>(options);

    cFpgaFileName[0] = '\0';
    CurrCtrl0 = 0;
    CurrCtrl1 = 0;
    adcValue1 = 0.0f;
    cOpmTunning = initialTuning;
    OPMGUIShare.usIsConnect = 0;
    linked_->StartTrace();
}

DeviceTest::~DeviceTest() {
    for (int* fd : {&opticFD, &serialFD}) {
        if (*fd >= 0)
            close(*fd);
        *fd = -1;
    }
    linked_.reset();
    std::error_code ignored;
    std::filesystem::remove_all(appDir_, ignored);
}

int32_t DeviceTest::StartUp() {
    int32_t result = 0;
    output_ = Printed([&] { result = OPMTestInit(); });
    return result;
}

std::string DeviceTest::Trace(const std::vector<std::string>& kinds) const {
    std::string text;
    for (const std::string& line : linked_->TraceLines(kinds))
        text += line + "\n";
    return text;
}

}  // namespace test
