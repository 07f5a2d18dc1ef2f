#include "simulator/models/host_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/simulator/models/bench_world.h"

namespace k905 {

class HostFile : public testing::Test {
  protected:
    TemporaryFolder folder_;
    std::string At(const char* name) const { return folder_.Path() + "/" + name; }
};

TEST_F(HostFile, WritesReadsRenamesAndRemoves) {
    const std::string text(10000, 'x');
    std::string back;
    ASSERT_TRUE(host::WriteFile(At("a"), text));
    ASSERT_TRUE(host::ReadFile(At("a"), back));
    EXPECT_EQ(back, text);
    ASSERT_TRUE(host::Rename(At("a"), At("b")));
    EXPECT_FALSE(host::Exists(At("a")));
    EXPECT_TRUE(host::Remove(At("b")));
    EXPECT_FALSE(host::ReadFile(At("b"), back));
    EXPECT_TRUE(back.empty());
}

TEST_F(HostFile, NeverWritesThroughALink) {
    ASSERT_TRUE(host::WriteFile(At("real"), "kept"));
    ASSERT_TRUE(host::Symlink(At("real"), At("link")));
    EXPECT_TRUE(host::IsSymlink(At("link")));
    EXPECT_FALSE(host::WriteFile(At("link"), "lost"));
    std::string back;
    ASSERT_TRUE(host::ReadFile(At("real"), back));
    EXPECT_EQ(back, "kept");
}

TEST_F(HostFile, MakesFoldersWithParentsAndListsThem) {
    ASSERT_TRUE(host::MakeDirectories(At("one/two/three")));
    ASSERT_TRUE(host::MakeDirectories(At("one/two/three")));
    EXPECT_TRUE(host::IsDirectory(At("one/two")));
    ASSERT_TRUE(host::WriteFile(At("one/file"), ""));
    EXPECT_THAT(host::List(At("one")), testing::ElementsAre("file", "two"));
    EXPECT_TRUE(host::List(At("nothing")).empty());
    EXPECT_FALSE(host::MakeDirectories(At("one/file/four")));
}

TEST_F(HostFile, MappedFileKeepsItsContentAndFillsNewBytes) {
    {
        host::MappedFile file(At("image"), 300, 0xFF);
        EXPECT_EQ(file.Data()[299], 0xFF);
        file.Data()[5] = 42;
    }
    host::MappedFile again(At("image"), 300, 0xFF);
    EXPECT_EQ(again.Data()[5], 42);
    EXPECT_EQ(again.Data()[6], 0xFF);
    EXPECT_THROW(host::MappedFile(At("no/such/folder"), 1, 0), std::runtime_error);
}

}  // namespace k905
