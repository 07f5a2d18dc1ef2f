// The kept inputs of every target, and the empty one: corpus/TARGET/.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "tests/fuzz/target.h"

namespace {

using Bytes = std::vector<uint8_t>;

std::vector<std::filesystem::path> KeptInputs(const char* target) {
    const auto folder = std::filesystem::path(K905_SOURCE_DIR) / "tests/fuzz/corpus" / target;
    std::vector<std::filesystem::path> files;
    if (std::filesystem::is_directory(folder))
        for (const auto& entry : std::filesystem::directory_iterator(folder))
            files.push_back(entry.path());
    return files;
}

Bytes Content(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(file), {});
}

// In a block of its own size, so that the sanitizers see a byte too much.
void Replay(const fuzz::Target& target, const Bytes& bytes) {
    static const uint8_t none = 0;
    target.run(bytes.empty() ? &none : bytes.data(), bytes.size());
}

}  // namespace

void fuzz::Failed(const char* what) {
    ADD_FAILURE() << what;
}

TEST(K905_REPLAY, KeptInputsPass) {
    ASSERT_NE(nullptr, fuzz::Target::First());
    for (const fuzz::Target* target = fuzz::Target::First(); target != nullptr; target = target->next) {
        SCOPED_TRACE(target->name);
        const auto files = KeptInputs(target->name);
        EXPECT_FALSE(files.empty()) << "no seeds";
        Replay(*target, {});
        for (const auto& file : files) {
            SCOPED_TRACE(file.filename());
            const Bytes bytes = Content(file);
            EXPECT_FALSE(bytes.empty()) << "cannot be read";
            Replay(*target, bytes);
        }
    }
}
