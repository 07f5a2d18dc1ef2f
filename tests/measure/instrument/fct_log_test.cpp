#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <nlohmann/json.hpp>
#include <sstream>

#include "measure/common_opm.h"
#include "simulator/interpose/linked.h"

namespace {

class FctLog : public testing::Test {
  protected:
    FctLog() {
        k905::LinkedInstrument::Options options;
        options.appDir = K905_SOURCE_DIR "/assets";  // the log needs none of the program's files
        linked_ = std::make_unique<k905::LinkedInstrument>(options);
        linked_->StartTrace();
    }

    std::string Log() const {
        std::ifstream file("/mnt/sdcard/fct_log.txt");
        std::stringstream text;
        text << file.rdbuf();
        return text.str();
    }

    std::unique_ptr<k905::LinkedInstrument> linked_;
};

}  // namespace

TEST_F(FctLog, AppendsOneLineAnEntry) {
    FCT_LOG("first");
    FCT_LOG("second %s");
    FCT_LOG(nullptr);
    FCT_LOG("");
    EXPECT_EQ("first\nsecond %s\n\n", Log());
}

TEST_F(FctLog, KeepsAnExistingLog) {
    std::ofstream("/mnt/sdcard/fct_log.txt") << "of another day\n";
    FCT_LOG("today");
    EXPECT_EQ("of another day\ntoday\n", Log());
}

TEST_F(FctLog, WithoutACardNothingHappens) {
    EXPECT_EQ("", linked_->Hardware().Set("sd.present", false));
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    FCT_LOG("lost");
    EXPECT_EQ("", testing::internal::GetCapturedStdout());
    EXPECT_EQ("", testing::internal::GetCapturedStderr());
    EXPECT_EQ("", linked_->Hardware().Set("sd.present", true));
    EXPECT_EQ("", Log());
}

TEST_F(FctLog, PrintToFileFlushesTheFileSystems) {
    printToFile("/mnt/sdcard/notes.txt", "text");
    EXPECT_THAT(linked_->TraceLines({"shell", "file"}),
                testing::ElementsAre("file open /mnt/sdcard/notes.txt", "shell sync"));
}
