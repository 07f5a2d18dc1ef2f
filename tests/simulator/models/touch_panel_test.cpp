#include "simulator/models/touch_panel.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <nlohmann/json.hpp>

#include "tests/simulator/models/bench_world.h"

namespace k905 {

namespace {

// One frame as an application decodes it: 3 press, 4 release, 7 move, 8 two points, -1 a record that does
// not belong.
struct Decoded {
    int code;
    int x, y;
};

class Decoder {
  public:
    // True when the record ends a frame.
    bool Feed(const TouchRecord& record, Decoded& frame) {
        if (record.type == 1) {
            code_ = record.code != 330 ? -1 : record.value != 0 ? 3 : 4;
        } else if (record.type == 3) {
            (record.code == 53 ? x_ : y_) = record.value;
            if (record.code != 53 && record.code != 54)
                code_ = -1;
        } else if (record.type == 0 && record.code == 2) {
            if (point_++ != 0)
                code_ = 8;
        } else if (record.type == 0 && record.code == 0) {
            frame = {code_, x_, y_};
            code_ = 7;
            point_ = 0;
            return true;
        } else {
            code_ = -1;
        }
        return false;
    }

  private:
    int code_ = 7, point_ = 0, x_ = 0, y_ = 0;
};

}  // namespace

class TouchModel : public testing::Test {
  protected:
    BenchWorld world_;
    TouchPanel touch_{world_, 800, 480};
    std::unique_ptr<DeviceFile> file_;

    void SetUp() override {
        int error = 0;
        file_ = touch_.Open(0, error);
        ASSERT_NE(file_, nullptr);
    }
    std::vector<Decoded> Frames() {
        std::vector<Decoded> frames;
        Decoder decoder;
        TouchRecord record = {};
        Decoded frame = {};
        while (file_->Read(&record, sizeof record) == sizeof record)
            if (decoder.Feed(record, frame))
                frames.push_back(frame);
        return frames;
    }
};

TEST_F(TouchModel, PressMoveAndReleaseAreOneFrameEach) {
    touch_.Fingers({{100, 200}});
    touch_.Fingers({{110, 210}});
    touch_.Fingers({});
    const auto frames = Frames();
    ASSERT_EQ(frames.size(), 3u);
    EXPECT_EQ(frames[0].code, 3);
    EXPECT_EQ(frames[0].x, 100);
    EXPECT_EQ(frames[0].y, 200);
    EXPECT_EQ(frames[1].code, 7);
    EXPECT_EQ(frames[1].x, 110);
    EXPECT_EQ(frames[2].code, 4);
}

TEST_F(TouchModel, SecondFingerMakesTwoPointFrames) {
    touch_.Fingers({{100, 200}});
    touch_.Fingers({{100, 200}, {300, 400}});
    touch_.Fingers({{120, 200}});
    touch_.Fingers({});
    const auto frames = Frames();
    ASSERT_EQ(frames.size(), 4u);
    EXPECT_EQ(frames[0].code, 3);
    EXPECT_EQ(frames[1].code, 8);
    EXPECT_EQ(frames[1].x, 300);
    EXPECT_EQ(frames[2].code, 7);
    EXPECT_EQ(frames[3].code, 4);
}

TEST_F(TouchModel, TwoFingersAtOnceStillBeginWithAPress) {
    touch_.Fingers({{1, 2}, {3, 4}});
    touch_.Fingers({});
    const auto frames = Frames();
    ASSERT_EQ(frames.size(), 3u);
    EXPECT_EQ(frames[0].code, 3);
    EXPECT_EQ(frames[0].x, 1);
    EXPECT_EQ(frames[1].code, 8);
    EXPECT_EQ(frames[2].code, 4);
}

TEST_F(TouchModel, StampsRecordsWithTheWorldsTime) {
    world_.now = 12 * 1000000 + 345678;
    touch_.Fingers({{5, 6}});
    TouchRecord record = {};
    ASSERT_EQ(file_->Read(&record, sizeof record), 16);
    EXPECT_EQ(record.seconds, 12u);
    EXPECT_EQ(record.microseconds, 345678u);
}

TEST_F(TouchModel, DeliversSeveralWholeRecordsInOneRead) {
    touch_.Fingers({{5, 6}});
    TouchRecord records[10] = {};
    EXPECT_EQ(file_->Read(records, 16 * 2 + 15), 32);
    EXPECT_EQ(file_->Read(records, sizeof records), 48);
    EXPECT_EQ(file_->Read(records, sizeof records), -EAGAIN);
    EXPECT_EQ(file_->Read(records, 15), -EINVAL);
    EXPECT_EQ(file_->ReadableAt(), kNever);
}

TEST_F(TouchModel, KeepsPositionsOnThePanelAndFingersToFive) {
    touch_.Fingers({{-10, 9000}, {1, 1}, {1, 1}, {1, 1}, {1, 1}, {1, 1}});
    const auto frames = Frames();
    ASSERT_EQ(frames.size(), 2u);
    EXPECT_EQ(frames[0].x, 0);
    EXPECT_EQ(frames[0].y, 479);
    EXPECT_EQ(touch_.State()["fingers"].size(), 5u);
}

TEST_F(TouchModel, LosesWholeFramesOnly) {
    for (int i = 0; i < 200; ++i)
        touch_.Fingers({{i, i}});
    const auto frames = Frames();
    EXPECT_GT(frames.size(), 50u);
    EXPECT_LT(frames.size(), 200u);
    for (std::size_t i = 1; i < frames.size(); ++i)
        EXPECT_EQ(frames[i].code, 7);
}

TEST_F(TouchModel, RefusesToOpenWhenMissing) {
    touch_.SetMissing(true);
    int error = 0;
    EXPECT_EQ(touch_.Open(0, error), nullptr);
    EXPECT_EQ(error, ENOENT);
}

TEST_F(TouchModel, ReportsEveryContactItsOffsetAwayButOnThePanel) {
    const auto touched = [&](int x, int y) {
        touch_.Fingers({{x, y}});
        touch_.Fingers({});
        const auto frames = Frames();
        return frames.empty() ? std::pair(-1, -1) : std::pair(frames.front().x, frames.front().y);
    };
    touch_.SetOffset(40, -30);
    EXPECT_EQ(touched(100, 200), std::pair(140, 170));
    EXPECT_EQ(touched(790, 10), std::pair(799, 0));
    touch_.SetOffset(0, 0);
    EXPECT_EQ(touched(100, 200), std::pair(100, 200));
}

TEST_F(TouchModel, FeelsNoFingerInItsDeadArea) {
    touch_.SetDead({0, 100, 800, 50});
    for (const int y : {100, 149}) {
        touch_.Fingers({{400, y}});
        touch_.Fingers({});
        EXPECT_TRUE(Frames().empty()) << y;
    }
    for (const int y : {99, 150}) {
        touch_.Fingers({{400, y}});
        touch_.Fingers({});
        EXPECT_EQ(Frames().size(), 2u) << y;
    }
    touch_.Fingers({{400, 90}});
    EXPECT_EQ(Frames().size(), 1u);
    touch_.Fingers({{400, 120}});  // it slides in, which is as if it was lifted
    const auto left = Frames();
    ASSERT_EQ(left.size(), 1u);
    EXPECT_EQ(left.front().code, 4);
    touch_.Fingers({});
    touch_.SetDead({});
    touch_.Fingers({{400, 120}});
    EXPECT_EQ(Frames().size(), 1u);
}

}  // namespace k905
