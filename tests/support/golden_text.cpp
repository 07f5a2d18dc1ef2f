#include "tests/support/golden_text.h"

#include <stdlib.h>
#include <string.h>

#include <filesystem>
#include <fstream>
#include <sstream>

namespace test {

namespace {

bool WriteText(const std::string& text, const std::string& path) {
    std::error_code ignored;
    std::filesystem::create_directories(std::filesystem::path(path).parent_path(), ignored);
    std::ofstream file(path, std::ios::binary);
    file << text;
    return file.flush().good();
}

bool ReadText(const std::string& path, std::string* text) {
    const std::ifstream file(path, std::ios::binary);
    std::stringstream content;
    if (file.is_open())
        content << file.rdbuf();
    *text = content.str();
    return file.is_open();
}

// Line `number` (from 1) of a text, or what stands for a line that is not there.
std::string Line(const std::string& text, size_t number) {
    std::istringstream lines(text);
    std::string line;
    for (size_t i = 0; i < number; ++i) {
        if (!std::getline(lines, line))
            return "(end of the text)";
    }
    return line;
}

// The first line in which two different texts differ, from 1.
size_t FirstDifference(const std::string& one, const std::string& other) {
    size_t number = 1;
    for (size_t i = 0; i < one.size() && i < other.size() && one[i] == other[i]; ++i)
        number += one[i] == '\n';
    return number;
}

}  // namespace

::testing::AssertionResult MatchesGoldenTextIn(const std::string& text, const std::string& name,
                                               const std::string& goldens, const std::string& actuals,
                                               bool update) {
    const std::string goldenPath = goldens + "/" + name + ".txt";
    const std::string actualPath = actuals + "/" + name + ".txt";
    if (update) {
        if (!WriteText(text, goldenPath))
            return ::testing::AssertionFailure() << "cannot write " << goldenPath;
        return ::testing::AssertionSuccess();
    }
    std::string golden;
    const bool kept = ReadText(goldenPath, &golden);
    if (kept && golden == text)
        return ::testing::AssertionSuccess();
    WriteText(text, actualPath);
    if (!kept) {
        return ::testing::AssertionFailure()
               << "no golden text " << goldenPath << "\n  actual: " << actualPath
               << "\n  read it, then run with K905_UPDATE_GOLDEN=1";
    }
    const size_t line = FirstDifference(golden, text);
    return ::testing::AssertionFailure()
           << name << ": line " << line << " differs\n  golden: " << Line(golden, line)
           << "\n  actual: " << Line(text, line) << "\n  golden: " << goldenPath
           << "\n  actual: " << actualPath;
}

::testing::AssertionResult MatchesGoldenText(const std::string& text, const std::string& name) {
    const char* update = getenv("K905_UPDATE_GOLDEN");
    return MatchesGoldenTextIn(text, name, K905_SOURCE_DIR "/tests/golden", K905_BINARY_DIR "/golden-actual",
                               update != nullptr && strcmp(update, "1") == 0);
}

}  // namespace test
