#include "simulator/models/storage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "simulator/models/host_file.h"
#include "tests/simulator/models/bench_world.h"

namespace k905 {

class Files : public testing::Test {
  protected:
    TemporaryFolder state_, app_;
    std::unique_ptr<Storage> storage_;

    void SetUp() override {
        host::MakeDirectories(app_.Path() + "/font");
        host::MakeDirectories(app_.Path() + "/bitmap");
        host::WriteFile(app_.Path() + "/font/unicode.fnt", "FONTDATA");
        host::WriteFile(app_.Path() + "/bitmap/bg_desk.bmp", "BMDATA");
        host::WriteFile(app_.Path() + "/k905fpga_XIN_LX16.bin", "BITS");
        storage_ = std::make_unique<Storage>(state_.Path(), app_.Path());
    }
    std::string Content(const std::string& path) const {
        std::string content;
        return host::ReadFile(storage_->Root() + path, content) ? content : "(missing)";
    }
};

TEST_F(Files, LinksTheAssets) {
    EXPECT_EQ(Content("/app/fct/font/unicode.fnt"), "FONTDATA");
    EXPECT_EQ(Content("/app/fct/bitmap/bg_desk.bmp"), "BMDATA");
    EXPECT_EQ(Content("/app/fct/k905fpga_XIN_LX16.bin"), "BITS");
    EXPECT_TRUE(host::IsSymlink(storage_->Root() + "/app/fct/font/unicode.fnt"));
}

TEST_F(Files, SpoiledAssetsComeBackAndTheOriginalsAreNeverTouched) {
    EXPECT_EQ(storage_->SpoilAsset("bitmap/bg_desk.bmp", Storage::Damage::kBroken), "");
    EXPECT_EQ(Content("/app/fct/bitmap/bg_desk.bmp"), "BMD");
    EXPECT_EQ(storage_->SpoilAsset("bitmap/bg_desk.bmp", Storage::Damage::kMissing), "");
    EXPECT_EQ(Content("/app/fct/bitmap/bg_desk.bmp"), "(missing)");
    std::string original;
    ASSERT_TRUE(host::ReadFile(app_.Path() + "/bitmap/bg_desk.bmp", original));
    EXPECT_EQ(original, "BMDATA");
    storage_->RestoreAssets("bitmap/", Storage::Damage::kBroken);  // another damage: stays
    EXPECT_EQ(Content("/app/fct/bitmap/bg_desk.bmp"), "(missing)");
    storage_->RestoreAssets("bitmap/", Storage::Damage::kMissing);
    EXPECT_EQ(Content("/app/fct/bitmap/bg_desk.bmp"), "BMDATA");
}

TEST_F(Files, DamageDoesNotOutliveTheRun) {
    storage_->SpoilAsset("font/unicode.fnt", Storage::Damage::kBroken);
    storage_ = std::make_unique<Storage>(state_.Path(), app_.Path());
    EXPECT_EQ(Content("/app/fct/font/unicode.fnt"), "FONTDATA");
}

TEST_F(Files, RefusesNamesThatAreNoAssets) {
    for (const char* name :
         {"", "bitmap/none.bmp", "/etc/passwd", "../secret", "bitmap/../font/unicode.fnt", "bitmap"})
        EXPECT_NE(storage_->SpoilAsset(name, Storage::Damage::kMissing), "") << name;
}

TEST_F(Files, SdCardKeepsItsFilesWhileItIsOut) {
    host::WriteFile(storage_->Root() + "/mnt/sdcard/fct_log.txt", "line\n");
    EXPECT_EQ(storage_->SetSdPresent(false), "");
    EXPECT_FALSE(host::Exists(storage_->Root() + "/mnt/sdcard"));
    EXPECT_EQ(storage_->SetSdPresent(false), "");
    EXPECT_EQ(storage_->SetSdPresent(true), "");
    EXPECT_EQ(Content("/mnt/sdcard/fct_log.txt"), "line\n");
}

TEST_F(Files, ShowsOneEntryForEachUsbStick) {
    const std::string hosts = storage_->Root() + "/proc/scsi/usb-storage";
    EXPECT_THAT(host::List(hosts), testing::SizeIs(1));
    EXPECT_EQ(storage_->SetSticks(2), "");
    EXPECT_THAT(host::List(hosts), testing::SizeIs(2));
    EXPECT_TRUE(host::Exists(storage_->Root() + "/mnt/usb"));
    EXPECT_EQ(storage_->SetSticks(0), "");
    EXPECT_THAT(host::List(hosts), testing::IsEmpty());
    EXPECT_FALSE(host::Exists(storage_->Root() + "/mnt/usb"));
    EXPECT_NE(storage_->SetSticks(99), "");
}

}  // namespace k905
