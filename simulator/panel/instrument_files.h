// The files that an instrument leaves in its state folder, as far as people at the bench want them: its
// output, its EEPROMs and tuning record, what it wrote on SD card and USB stick, screenshots.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace k905 {

struct InstrumentFile {
    std::string path;  // in the state folder
    std::uint64_t size = 0;
    std::int64_t modified = 0;  // Unix seconds
};

std::vector<InstrumentFile> ListInstrumentFiles(const std::string& stateDir);

// Reads `path` if it is one of them, at most kLargestFile bytes from its end. False if it is none, or leads
// elsewhere.
constexpr std::uint64_t kLargestFile = 16 * 1024 * 1024;
bool ReadInstrumentFile(const std::string& stateDir, const std::string& path, std::string& content);

}  // namespace k905
