#include "platform/share/share.h"

#include <cstdlib>
#include <exception>
#include <filesystem>
#include <string>

#include "platform/share/folders.h"

namespace {

namespace fs = std::filesystem;

// An installation may be moved as a whole and a build tree has the same shape, so the folder beside
// the program's own counts before the one that was configured.
std::string find_share_folder() {
    std::error_code error;
    const fs::path program = fs::read_symlink("/proc/self/exe", error);
    if (!error) {
        const fs::path beside = (program.parent_path() / VELORIX_SHARE_FROM_BIN).lexically_normal();
        if (fs::is_directory(beside, error)) return beside.string();
    }
    return VELORIX_SHARE_DIR;
}

}  // namespace

extern "C" const char* velorix_share_folder(void) {
    const char* given = std::getenv("VELORIX_SHARE");
    if (given && *given) return given;
    try {
        static const std::string found = find_share_folder();
        return found.c_str();
    } catch (const std::exception&) {
        return VELORIX_SHARE_DIR;
    }
}
