#include "simulator/models/power_controller.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <nlohmann/json.hpp>

#include "tests/simulator/models/bench_world.h"

namespace k905 {

class Power : public testing::Test {
  protected:
    BenchWorld world_;
    PowerController power_{world_};
    std::uint8_t record_[4] = {};

    ssize_t Read(std::size_t size = 2) {
        int error = 0;
        const auto file = power_.Open(0, error);
        return file == nullptr ? -error : file->Read(record_, size);
    }
};

TEST_F(Power, PacksItsRecord) {
    ASSERT_EQ(power_.Set("dc", false), "");
    ASSERT_EQ(power_.Set("bat", true), "");
    ASSERT_EQ(power_.Set("full", true), "");
    ASSERT_EQ(power_.Set("type", 2), "");
    ASSERT_EQ(power_.Set("level", 149), "");
    ASSERT_EQ(Read(4), 2);
    EXPECT_EQ(record_[0], 0x02 | 0x04 | 2 << 3);
    EXPECT_EQ(record_[1], 149);
    ASSERT_EQ(power_.Set("bat", false), "");
    ASSERT_EQ(power_.Set("dc", true), "");
    ASSERT_EQ(Read(), 2);
    EXPECT_EQ(record_[0], 0x01 | 0x04 | 2 << 3);
}

TEST_F(Power, RefusesWhatDoesNotFit) {
    EXPECT_NE(power_.Set("level", 256), "");
    EXPECT_NE(power_.Set("level", -1), "");
    EXPECT_NE(power_.Set("level", true), "");
    EXPECT_NE(power_.Set("type", 4), "");
    EXPECT_NE(power_.Set("bat", 1), "");
    EXPECT_NE(power_.Set("volume", 1), "");
    EXPECT_EQ(Read(1), -EINVAL);
}

TEST_F(Power, CanBeMissingOrShort) {
    power_.SetShort(true);
    EXPECT_EQ(Read(), 1);
    power_.SetMissing(true);
    EXPECT_EQ(Read(), -ENOENT);
}

}  // namespace k905
