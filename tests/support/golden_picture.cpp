#include "tests/support/golden_picture.h"

#include <png.h>
#include <stdlib.h>
#include <string.h>

#include <filesystem>

namespace test {

namespace {

bool WritePng(const Picture& picture, const std::string& path) {
    std::error_code ignored;
    std::filesystem::create_directories(std::filesystem::path(path).parent_path(), ignored);
    png_image image = {};
    image.version = PNG_IMAGE_VERSION;
    image.width = picture.width;
    image.height = picture.height;
    image.format = PNG_FORMAT_RGB;
    return png_image_write_to_file(&image, path.c_str(), 0, picture.rgb.data(), 0, nullptr) != 0;
}

struct Difference {
    size_t count;
    size_t first;
    Picture picture;
};

// Of two pictures of the same size.
Difference Compare(const Picture& actual, const Picture& golden) {
    Difference difference = {0, 0, {actual.width, actual.height, {}}};
    difference.picture.rgb.assign(actual.rgb.size(), 0xFF);
    for (size_t i = 0; i < actual.rgb.size(); i += 3) {
        if (memcmp(&actual.rgb[i], &golden.rgb[i], 3) == 0)
            continue;
        if (difference.count++ == 0)
            difference.first = i / 3;
        difference.picture.rgb[i + 1] = 0;
        difference.picture.rgb[i + 2] = 0;
    }
    return difference;
}

}  // namespace

::testing::AssertionResult MatchesGoldenIn(const Picture& picture, const std::string& name,
                                           const std::string& goldens, const std::string& actuals,
                                           bool update) {
    const std::string goldenPath = goldens + "/" + name + ".png";
    const std::string actualPath = actuals + "/" + name + ".png";
    const std::string differencePath = actuals + "/" + name + "-difference.png";
    if (picture.rgb.size() != size_t{3} * picture.width * picture.height)
        return ::testing::AssertionFailure() << name << ": the picture's data do not have its size";
    if (update) {
        if (!WritePng(picture, goldenPath))
            return ::testing::AssertionFailure() << "cannot write " << goldenPath;
        return ::testing::AssertionSuccess();
    }
    const Picture golden = ReadPng(goldenPath);
    if (golden.rgb.empty()) {
        WritePng(picture, actualPath);
        return ::testing::AssertionFailure()
               << "no golden picture " << goldenPath << "\n  actual: " << actualPath
               << "\n  look at it, then run with K905_UPDATE_GOLDEN=1";
    }
    if (golden.width != picture.width || golden.height != picture.height) {
        WritePng(picture, actualPath);
        return ::testing::AssertionFailure() << name << " is " << picture.width << " x " << picture.height
                                             << ", its golden " << golden.width << " x " << golden.height
                                             << "\n  golden: " << goldenPath << "\n  actual: " << actualPath;
    }
    const Difference difference = Compare(picture, golden);
    if (difference.count == 0)
        return ::testing::AssertionSuccess();
    WritePng(picture, actualPath);
    WritePng(difference.picture, differencePath);
    return ::testing::AssertionFailure()
           << name << ": " << difference.count << " pixels differ, the first at ("
           << difference.first % picture.width << ", " << difference.first / picture.width
           << ")\n  golden: " << goldenPath << "\n  actual: " << actualPath
           << "\n  difference: " << differencePath;
}

::testing::AssertionResult MatchesGolden(const Picture& picture, const std::string& name) {
    const char* update = getenv("K905_UPDATE_GOLDEN");
    return MatchesGoldenIn(picture, name, K905_SOURCE_DIR "/tests/golden", K905_BINARY_DIR "/golden-actual",
                           update != nullptr && strcmp(update, "1") == 0);
}

}  // namespace test
