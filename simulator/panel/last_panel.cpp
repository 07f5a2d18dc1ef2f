#include "simulator/panel/last_panel.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

namespace fs = std::filesystem;

namespace k905 {

namespace {

// A symbolic link in the user's own run-time folder; in the shared one its owner is checked before it is
// followed.
fs::path Link() {
    const char* own = std::getenv("XDG_RUNTIME_DIR");
    std::error_code error;
    const fs::path folder = own != nullptr && *own != '\0' ? fs::path(own) : fs::temp_directory_path(error);
    return folder / ("k905-panel-" + std::to_string(getuid()));
}

}  // namespace

void RememberPanel(const std::string& stateDir) {
    std::error_code ignored;
    fs::remove(Link(), ignored);
    fs::create_symlink(stateDir, Link(), ignored);
}

std::string RememberedPanel() {
    std::error_code error;
    const fs::path target = fs::read_symlink(Link(), error);
    struct stat status = {};
    if (error || lstat(Link().c_str(), &status) != 0 || status.st_uid != getuid())
        return "";
    return target.string();
}

void ForgetPanel(const std::string& stateDir) {
    std::error_code ignored;
    if (RememberedPanel() == stateDir)
        fs::remove(Link(), ignored);
}

}  // namespace k905
