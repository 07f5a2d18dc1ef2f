#include "simulator/models/storage.h"

#include <nlohmann/json.hpp>
#include <stdexcept>
#include <vector>

#include "simulator/models/host_file.h"

namespace k905 {

namespace {

// A medium is in when its mount point exists; while out it waits beside the tree.
bool Move(const std::string& mount, const std::string& aside, bool in) {
    const std::string& from = in ? aside : mount;
    const std::string& to = in ? mount : aside;
    if (host::Exists(to))
        return true;
    return host::Exists(from) ? host::Rename(from, to) : host::MakeDirectories(to);
}

bool PlainName(const std::string& name) {
    return !name.empty() && name[0] != '/' && name.find("..") == std::string::npos;
}

}  // namespace

Storage::Storage(const std::string& stateDir, const std::string& appDir)
    : stateDir_(stateDir), appDir_(appDir.empty() ? "" : host::Absolute(appDir)), root_(stateDir + "/root") {
    const std::string modules = root_ + kModules;
    for (const char* folder : {"/app/fct", "/mnt", "/proc/scsi/usb-storage", "/lib/modules/2.6.30", "/tmp"})
        if (!host::MakeDirectories(root_ + folder))
            throw std::runtime_error("cannot make " + root_ + folder);
    for (const char* name : {"drv_fpga.ko", "drv_keypad.ko", "drv_optic.ko"})
        if (!host::Exists(modules + name) && !host::WriteFile(modules + name, ""))
            throw std::runtime_error("cannot make " + modules + name);
    if (!appDir_.empty())
        LinkAssets("");
    const std::string problem = SetSdPresent(true) + SetSticks(1);
    if (!problem.empty())
        throw std::runtime_error(problem);
}

// Every file below <appDir>/<folder>, as a link of the same name.
void Storage::LinkAssets(const std::string& folder) {
    for (const std::string& name : host::List(appDir_ + "/" + folder)) {
        const std::string path = folder + name;
        if (host::IsDirectory(appDir_ + "/" + path)) {
            if (!host::MakeDirectories(root_ + "/app/fct/" + path))
                throw std::runtime_error("cannot make " + root_ + "/app/fct/" + path);
            LinkAssets(path + "/");
        } else if (!Restore(path)) {
            throw std::runtime_error("cannot link " + root_ + "/app/fct/" + path);
        }
    }
}

bool Storage::Restore(const std::string& name) {
    const std::string path = root_ + "/app/fct/" + name;
    host::Remove(path);
    return host::Symlink(appDir_ + "/" + name, path);
}

std::string Storage::SetSdPresent(bool present) {
    if (!Move(root_ + "/mnt/sdcard", stateDir_ + "/sdcard.out", present))
        return "cannot move the SD card's folder";
    sdPresent_ = present;
    return "";
}

std::string Storage::SetSticks(unsigned count) {
    if (count > kMaxSticks)
        return "too many USB sticks";
    const std::string hosts = root_ + "/proc/scsi/usb-storage/";
    for (const std::string& name : host::List(hosts))
        host::Remove(hosts + name);
    for (unsigned i = 0; i < count; ++i)
        if (!host::WriteFile(hosts + std::to_string(i),
                             "   Host scsi" + std::to_string(i) + ": usb-storage\n"))
            return "cannot make the USB stick's entry";
    if (!Move(root_ + "/mnt/usb", stateDir_ + "/usb.out", count > 0))
        return "cannot move the USB stick's folder";
    sticks_ = count;
    return "";
}

std::string Storage::SpoilAsset(const std::string& name, Damage damage) {
    const std::string path = root_ + "/app/fct/" + name;
    if (!PlainName(name) || appDir_.empty() || !host::Exists(appDir_ + "/" + name) ||
        host::IsDirectory(appDir_ + "/" + name))
        return "no such asset: " + name;
    if (!Restore(name))
        return "cannot link " + name;
    if (damage == Damage::kNone) {
        spoiled_.erase(name);
        return "";
    }
    std::string content;
    host::ReadFile(path, content);
    host::Remove(path);
    if (damage == Damage::kBroken && !host::WriteFile(path, content.substr(0, content.size() / 2)))
        return "cannot write " + name;
    spoiled_[name] = damage;
    return "";
}

void Storage::RestoreAssets(const std::string& folder, Damage damage) {
    for (auto entry = spoiled_.begin(); entry != spoiled_.end();) {
        const bool ours = entry->second == damage && entry->first.compare(0, folder.size(), folder) == 0;
        if (ours)
            Restore(entry->first);
        entry = ours ? spoiled_.erase(entry) : std::next(entry);
    }
}

// No step upwards, and no link on the way: what lies behind a link belongs to the machine.
std::string Storage::Inside(const std::string& path) const {
    if (path.empty() || path[0] != '/')
        return "";
    for (std::size_t start = 1; start <= path.size();) {
        const std::size_t end = std::min(path.find('/', start), path.size());
        if (path.compare(start, end - start, "..") == 0 || host::IsSymlink(root_ + path.substr(0, end)))
            return "";
        start = end + 1;
    }
    return root_ + path;
}

nlohmann::json Storage::State() const {
    nlohmann::json spoiled = nlohmann::json::object();
    for (const auto& [name, damage] : spoiled_)
        spoiled[name] = damage == Damage::kMissing ? "missing" : "broken";
    return {{"sd", {{"present", sdPresent_}, {"full", sdFull_}, {"read_only", sdReadOnly_}}},
            {"usb", {{"sticks", sticks_}}},
            {"spoiled_assets", spoiled}};
}

}  // namespace k905
