// Name to file: where a parameter file is looked for, and how it is read.
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include "platform/containers/owners.h"
#include "platform/elog/elog.h"
#include "platform/pf/tree.h"
#include "platform/share/share.h"

namespace {

using velorix::pf::parse;

// A parameter file is written by a person; anything larger was named by mistake.
constexpr size_t kLargestFile = size_t{16} << 20;

// One that cannot be looked at for an odd reason counts: another file must not take its place.
bool is_file(const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) == 0) return !S_ISDIR(status.st_mode);
    return errno != ENOENT && errno != ENOTDIR && errno != EACCES && errno != ENAMETOOLONG;
}

std::vector<std::string> folders() {
    std::vector<std::string> list{""};
    const char* given = std::getenv("VELORIX_PFPATH");
    for (std::string rest = given ? given : ""; !rest.empty();) {
        const size_t end = std::min(rest.find(':'), rest.size());
        if (end > 0) list.push_back(rest.substr(0, end) + "/");
        rest.erase(0, end + 1);
    }
    list.push_back(std::string(velorix_share_folder()) + "/");
    return list;
}

std::optional<std::string> find(const std::string& name) {
    const bool has_folder = name.find('/') != std::string::npos;
    for (const std::string& folder : has_folder ? std::vector<std::string>{""} : folders()) {
        for (const char* ending : {"", ".toml"}) {
            std::string path = folder + name + ending;
            if (is_file(path)) return path;
        }
    }
    return std::nullopt;
}

// Told before opening: a pipe would block, a device might never end.
bool is_readable_kind(const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        elog_log(1, "pfread: cannot open %s\n", path.c_str());
        return false;
    }
    if (!S_ISREG(status.st_mode)) {
        elog_log(0, "pfread: %s is not a regular file\n", path.c_str());
        return false;
    }
    return true;
}

std::optional<std::string> contents(const std::string& path) {
    if (!is_readable_kind(path)) return std::nullopt;
    const velorix::Owned<FILE, std::fclose> file(std::fopen(path.c_str(), "rb"));
    if (!file) {
        elog_log(1, "pfread: cannot open %s\n", path.c_str());
        return std::nullopt;
    }
    std::string text;
    char buffer[65536];
    while (const size_t n = std::fread(buffer, 1, sizeof buffer, file.get())) {
        text.append(buffer, n);
        if (text.size() <= kLargestFile) continue;
        elog_log(0, "pfread: %s has more than %zu bytes, too many for a parameter file\n",
                 path.c_str(), kLargestFile);
        return std::nullopt;
    }
    if (std::ferror(file.get())) {
        elog_log(1, "pfread: cannot read %s\n", path.c_str());
        return std::nullopt;
    }
    return text;
}

int not_found(const char* name) {
    if (std::strchr(name, '/')) {
        elog_log(0, "pfread: no parameter file %s or %s.toml\n", name, name);
        return -1;
    }
    const char* path = std::getenv("VELORIX_PFPATH");
    elog_log(0,
             "pfread: no parameter file %s or %s.toml (looked in the current folder, "
             "VELORIX_PFPATH '%s' and %s)\n",
             name, name, path ? path : "", velorix_share_folder());
    return -1;
}

int read_named(const char* name, Pf** pf) {
    const auto path = find(name);
    if (!path) return not_found(name);
    const auto text = contents(*path);
    if (!text) return -1;
    auto root = parse(*text, *path);
    if (!root) return -1;
    *pf = root.release();
    return 0;
}

}  // namespace

extern "C" int pfread(const char* name, Pf** pf) {
    if (!name || !pf) return -1;
    *pf = nullptr;
    try {
        return read_named(name, pf);
    } catch (const std::bad_alloc&) {
        return elog_log(0, "pfread: out of memory reading %s\n", name), -1;
    }
}

extern "C" int pfparse(const char* text, const char* label, Pf** pf) {
    if (!text || !label || !pf) return -1;
    *pf = nullptr;
    try {
        *pf = parse(text, label).release();
        return *pf ? 0 : -1;
    } catch (const std::bad_alloc&) {
        return elog_log(0, "pfread: out of memory reading %s\n", label), -1;
    }
}
