// Benches kept under a name, for another day: what is set on the bench, and what the instrument keeps without
// power.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

namespace k905 {

class SavedBenches {
  public:
    // Kept in `folder`; empty: $K905_BENCHES, or k905/benches in the user's data folder.
    explicit SavedBenches(const std::string& folder = "");

    std::vector<std::string> Names() const;
    // Keeps `bench` ({"set": ..., "faults": ...}) and the EEPROMs and tuning record of the instrument in
    // `stateDir`. This and the following throw BenchError; a name is 1 to 40 letters, digits, blanks, "_",
    // "-" and ".".
    void Save(const std::string& name, const nlohmann::json& bench, const std::string& stateDir) const;
    // Puts EEPROMs and tuning record back, no program running there, and returns the bench.
    nlohmann::json Restore(const std::string& name, const std::string& stateDir) const;
    bool Has(const std::string& name) const;
    void Remove(const std::string& name) const;

    // Takes from the instrument in `stateDir` what it keeps without power.
    static void Blank(const std::string& stateDir);

  private:
    std::string Path(const std::string& name) const;
    std::string folder_;
};

}  // namespace k905
