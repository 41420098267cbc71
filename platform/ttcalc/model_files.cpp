#include "platform/ttcalc/model_files.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <vector>

#include "platform/share/share.h"
#include "platform/ttcalc/builtin_models.h"

namespace velorix::tt {
namespace {

namespace fs = std::filesystem;

constexpr std::uintmax_t kLargestFile = 4 << 20;  // bytes; real models have a few thousand

std::vector<fs::path> search_folders() {
    std::vector<fs::path> folders{""};
    const char* variable = std::getenv("VELORIX_MODELPATH");
    std::string list = variable == nullptr ? "" : variable;
    for (size_t start = 0; start < list.size();) {
        const size_t end = std::min(list.find(':', start), list.size());
        if (end > start) folders.emplace_back(list.substr(start, end - start));
        start = end + 1;
    }
    folders.emplace_back(velorix_share_folder());
    return folders;
}

// One that cannot be looked at for an odd reason counts: another file must not take its place.
bool is_file(const fs::path& path) {
    std::error_code error;
    const fs::file_type type = fs::status(path, error).type();
    if (type == fs::file_type::none)
        return error != std::errc::permission_denied && error != std::errc::filename_too_long;
    return type != fs::file_type::not_found && type != fs::file_type::directory;
}

bool find_file(const std::string& name, fs::path& found) {
    for (const fs::path& folder : search_folders()) {
        for (const char* suffix : {"", ".tvel", ".nd"}) {
            found = folder / (name + suffix);
            if (is_file(found)) return true;
        }
    }
    return false;
}

bool read_file(const fs::path& path, std::string& text, std::string& error) {
    std::error_code status;
    const bool regular = fs::is_regular_file(path, status);
    const std::uintmax_t size = regular ? fs::file_size(path, status) : 0;
    if (!regular || status || size > kLargestFile) {
        error = path.string() +
                (regular && !status ? ": too large for a velocity model" : ": not a regular file");
        return false;
    }
    std::ifstream in(path, std::ios::binary);
    text.resize(size);
    in.read(text.data(), static_cast<std::streamsize>(size));
    if (!in) {  // also when the file has become shorter
        error = path.string() + ": cannot be read";
        return false;
    }
    return true;
}

}  // namespace

bool load_model(const std::string& name, EarthModel& model, std::string& error) {
    const std::string_view builtin = builtin_model(name);
    if (!builtin.empty()) return parse_model(builtin, ModelFormat::kTvel, name, model, error);
    fs::path path;
    if (name.empty() || !find_file(name, path)) {
        error = "unknown model '" + name +
                "': neither iasp91, ak135 or prem nor a file, also not in VELORIX_MODELPATH";
        return false;
    }
    const ModelFormat format =
        path.extension() == ".nd" ? ModelFormat::kNamedDiscontinuities : ModelFormat::kTvel;
    std::string text;
    return read_file(path, text, error) && parse_model(text, format, path.string(), model, error);
}

}  // namespace velorix::tt
