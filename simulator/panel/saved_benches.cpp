#include "simulator/panel/saved_benches.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "simulator/panel/control_client.h"

namespace fs = std::filesystem;

namespace k905 {

namespace {

constexpr const char* kKept[] = {"module.at24c512", "mainboard.eeprom", "tuning.bin"};
constexpr const char* kBenchFile = "bench.json";
constexpr std::size_t kLongestName = 40;

std::string DefaultFolder() {
    const auto variable = [](const char* name) -> std::string {
        const char* value = std::getenv(name);
        return value != nullptr ? value : "";
    };
    if (!variable("K905_BENCHES").empty())
        return variable("K905_BENCHES");
    const std::string data =
        !variable("XDG_DATA_HOME").empty() ? variable("XDG_DATA_HOME") : variable("HOME") + "/.local/share";
    return data + "/k905/benches";
}

void CopyKept(const std::string& from, const std::string& to) {
    for (const char* name : kKept) {
        fs::remove(fs::path(to) / name);
        if (fs::exists(fs::path(from) / name))
            fs::copy_file(fs::path(from) / name, fs::path(to) / name);
    }
}

}  // namespace

SavedBenches::SavedBenches(const std::string& folder) : folder_(folder.empty() ? DefaultFolder() : folder) {}

std::string SavedBenches::Path(const std::string& name) const {
    const bool plain = std::all_of(name.begin(), name.end(), [](unsigned char c) {
        return std::isalnum(c) != 0 || c == ' ' || c == '_' || c == '-' || c == '.';
    });
    const bool blank = name.find_first_not_of(' ') == std::string::npos;
    if (blank || name.size() > kLongestName || name[0] == '.' || !plain)
        throw Refused("a name is 1 to 40 letters, digits, blanks, \"_\", \"-\" and \".\", and not blank");
    return folder_ + "/" + name;
}

std::vector<std::string> SavedBenches::Names() const {
    std::vector<std::string> names;
    std::error_code none;
    for (const auto& entry : fs::directory_iterator(folder_, none))
        if (fs::exists(entry.path() / kBenchFile, none))
            names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

bool SavedBenches::Has(const std::string& name) const {
    std::error_code none;
    return fs::exists(Path(name) + "/" + kBenchFile, none);
}

void SavedBenches::Save(const std::string& name, const nlohmann::json& bench,
                        const std::string& stateDir) const {
    const std::string path = Path(name);
    try {
        fs::create_directories(path);
        CopyKept(stateDir, path);
        std::ofstream out(path + "/" + kBenchFile);
        out << bench.dump(2) << '\n';
        if (!out.flush())
            throw BenchError(path + ": cannot be written");
    } catch (const fs::filesystem_error& error) {
        throw BenchError(path + ": cannot be written: " + error.code().message());
    }
}

nlohmann::json SavedBenches::Restore(const std::string& name, const std::string& stateDir) const {
    const std::string path = Path(name);
    std::ifstream in(path + "/" + kBenchFile);
    nlohmann::json bench = nlohmann::json::parse(in, nullptr, false);
    if (!bench.is_object())
        throw Refused("no bench is kept under the name \"" + name + "\"");
    try {
        CopyKept(path, stateDir);
    } catch (const fs::filesystem_error& error) {
        throw BenchError(path + ": cannot be put back: " + error.code().message());
    }
    return bench;
}

void SavedBenches::Remove(const std::string& name) const {
    if (!Has(name))
        throw Refused("no bench is kept under the name \"" + name + "\"");
    std::error_code ignored;
    fs::remove_all(Path(name), ignored);
}

void SavedBenches::Blank(const std::string& stateDir) {
    std::error_code ignored;
    for (const char* name : kKept)
        fs::remove(fs::path(stateDir) / name, ignored);
}

}  // namespace k905
