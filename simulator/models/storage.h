// The instrument's files: a tree of real files under <stateDir>/root. The product's paths are mapped into it
// elsewhere; this model makes it, plugs the SD card and USB sticks in and out, and spoils assets.
#pragma once

#include <map>
#include <nlohmann/json_fwd.hpp>
#include <string>

namespace k905 {

class Storage {
  public:
    static constexpr const char* kModules = "/lib/modules/2.6.30/";
    static constexpr unsigned kMaxSticks = 8;

    // Makes <stateDir>/root with everything in it. `appDir`: built assets, linked as /app/fct; empty: none.
    // Card and stick keep what was written to them. Throws std::runtime_error when the tree cannot be made.
    Storage(const std::string& stateDir, const std::string& appDir);

    const std::string& Root() const { return root_; }

    // Bench. A medium that is out keeps its files in <stateDir>. "" or the error text.
    std::string SetSdPresent(bool present);
    std::string SetSticks(unsigned count);
    bool SdPresent() const { return sdPresent_; }

    // Faults.
    void SetSdFull(bool full) { sdFull_ = full; }
    void SetSdReadOnly(bool readOnly) { sdReadOnly_ = readOnly; }
    bool SdFull() const { return sdFull_; }
    bool SdReadOnly() const { return sdReadOnly_; }

    enum class Damage { kNone, kMissing, kBroken };  // broken: cut off in the middle
    // An asset by its path below /app/fct ("bitmap/bg_desk.bmp"). "" or the error text.
    std::string SpoilAsset(const std::string& name, Damage damage);
    // All assets of a folder that carry this damage become good again.
    void RestoreAssets(const std::string& folder, Damage damage);

    // A path of the product inside the tree, for the virtual shell: "" when it would leave the tree.
    std::string Inside(const std::string& path) const;

    nlohmann::json State() const;

  private:
    void LinkAssets(const std::string& folder);
    bool Restore(const std::string& name);

    std::string stateDir_, appDir_, root_;
    bool sdPresent_ = true, sdFull_ = false, sdReadOnly_ = false;
    unsigned sticks_ = 1;
    std::map<std::string, Damage> spoiled_;
};

}  // namespace k905
