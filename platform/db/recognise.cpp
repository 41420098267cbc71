// Which kind of database a name stands for, by looking at what is there.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "platform/containers/owners.h"
#include "platform/db/internal.h"
#include "platform/elog/elog.h"

namespace velorix::db {
namespace {

namespace fs = std::filesystem;

constexpr const char* kSiteEnding = ".site";
// Larger than any station list of the world; anything beyond was named by mistake.
constexpr uintmax_t kLargestFile = uintmax_t{256} << 20;

bool is_regular(const std::string& path) {
    std::error_code error;
    return fs::is_regular_file(path, error);
}

std::nullopt_t refuse(const std::string& name, const char* why) {
    elog_log(0, "dbopen: %s %s\n", name.c_str(), why);
    return std::nullopt;
}

std::nullopt_t refuse_several(const std::string& folder, std::vector<std::string>& found) {
    constexpr size_t most_named = 5;
    std::sort(found.begin(), found.end());
    std::string names;
    for (size_t i = 0; i < std::min(most_named, found.size()); ++i) {
        names += (i ? ", " : "") + fs::path(found[i]).filename().string();
    }
    if (found.size() > most_named) names += ", ...";
    elog_log(0, "dbopen: %s is a folder with more than one *.site file, name one of them: %s\n",
             folder.c_str(), names.c_str());
    return std::nullopt;
}

std::optional<Place> in_folder(const std::string& folder) {
    std::error_code error;
    std::vector<std::string> found;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        if (entry->path().extension() == kSiteEnding && is_regular(entry->path().string()))
            found.push_back(entry->path().string());
    }
    if (error) {
        elog_log(0, "dbopen: %s: %s\n", folder.c_str(), error.message().c_str());
        return std::nullopt;
    }
    if (found.empty()) return refuse(folder, "is a folder without a *.site file");
    if (found.size() > 1) return refuse_several(folder, found);
    found[0].resize(found[0].size() - std::strlen(kSiteEnding));
    return Place{Format::css, found[0]};
}

// A catalogue may stand without its stations.
bool has_catalogue_file(const std::string& prefix) {
    const auto schemas = catalogue_schemas();
    return std::any_of(schemas.begin(), schemas.end(), [&](const Schema& schema) {
        return is_regular(prefix + "." + schema.name);
    });
}

// The prefix of a file that is called as a table of a catalogue, nothing for any other name.
std::optional<std::string> catalogue_prefix(const std::string& name) {
    for (const Schema& schema : catalogue_schemas()) {
        const std::string ending = std::string(".") + schema.name;
        if (name.ends_with(ending)) return name.substr(0, name.size() - ending.size());
    }
    return std::nullopt;
}

// Comments of the data centre may stand before the header.
bool looks_like_fdsn(std::string_view text) {
    constexpr long bars_of_a_station = 7;
    std::string_view line;
    for (Lines lines(text); lines.next(line);) {
        if (std::count(line.begin(), line.end(), '|') >= bars_of_a_station) return true;
        if (trimmed(line).front() != '#') return false;
    }
    return false;
}

// Which kind of station file of other programs a text is, by its first line that is no comment; a
// control file of NonLinLoc may begin with other statements.
std::optional<Format> foreign_format(std::string_view text) {
    if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
    const std::string_view words = trimmed(text);
    if (words.starts_with('<')) return Format::xml;
    if (words.starts_with('{')) return Format::json;
    std::string_view line;
    bool first = true;
    for (Lines lines(text); lines.next(line);) {
        if (is_gtsrce(line)) return Format::gtsrce;
        if (first && is_station_header(line)) return Format::csv;
        if (trimmed(line).front() != '#') first = false;
    }
    return std::nullopt;
}

std::optional<std::string> head(const std::string& path) {
    const velorix::Owned<FILE, std::fclose> file(std::fopen(path.c_str(), "rb"));
    if (!file) {
        elog_log(1, "dbopen: cannot open %s\n", path.c_str());
        return std::nullopt;
    }
    std::string bytes(4096, '\0');
    bytes.resize(std::fread(bytes.data(), 1, bytes.size(), file.get()));
    if (std::ferror(file.get())) {
        elog_log(1, "dbopen: cannot read %s\n", path.c_str());
        return std::nullopt;
    }
    return bytes;
}

std::optional<Place> by_content(const std::string& name, bool has_site_file) {
    constexpr std::string_view sqlite_magic("SQLite format 3\0", 16);
    const auto bytes = head(name);
    if (!bytes) return std::nullopt;
    if (bytes->starts_with(sqlite_magic)) return Place{Format::sqlite, name};
    if (name.ends_with(kSiteEnding))
        return Place{Format::css, name.substr(0, name.size() - std::strlen(kSiteEnding))};
    const bool binary = bytes->find('\0') != std::string::npos;
    if (!binary && looks_like_fdsn(*bytes)) return Place{Format::fdsn, name};
    const auto foreign = binary ? std::nullopt : foreign_format(*bytes);
    if (foreign) return Place{*foreign, name};
    if (has_site_file || has_catalogue_file(name)) return Place{Format::css, name};
    if (const auto prefix = catalogue_prefix(name)) return Place{Format::css, *prefix};
    if (bytes->empty()) return refuse(name, "is empty");
    return refuse(name,
                  "is neither a CSS3.0 database, a SQLite 3 file, an FDSN station text file nor "
                  "stations of another program (StationXML, CSV, JSON, GTSRCE)");
}

}  // namespace

std::optional<Place> recognise(const std::string& name) {
    std::error_code error;
    const bool has_site_file = is_regular(name + kSiteEnding);
    if (!has_site_file && fs::is_directory(name, error)) return in_folder(name);
    if (is_regular(name)) return by_content(name, has_site_file);
    if (has_site_file || has_catalogue_file(name)) return Place{Format::css, name};
    if (fs::exists(name, error)) return refuse(name, "is not a regular file");
    elog_log(0, "dbopen: no station database %s: no such file or folder, and no file %s.site\n",
             name.c_str(), name.c_str());
    return std::nullopt;
}

std::optional<std::string> read_text(const std::string& path) {
    std::error_code error;
    const bool exists = fs::exists(path, error);
    if (exists && !is_regular(path)) {
        // A pipe would block, a device might never end.
        elog_log(0, "dblookup: %s is not a regular file\n", path.c_str());
        return std::nullopt;
    }
    const uintmax_t size = exists ? fs::file_size(path, error) : 0;
    if (!error && size > kLargestFile) {
        elog_log(0, "dblookup: %s has %ju bytes, more than a table may have (%ju)\n", path.c_str(),
                 size, kLargestFile);
        return std::nullopt;
    }
    const velorix::Owned<FILE, std::fclose> file(std::fopen(path.c_str(), "rb"));
    if (error || !file) {
        elog_log(1, "dblookup: cannot open %s\n", path.c_str());
        return std::nullopt;
    }
    std::string text(size, '\0');
    text.resize(std::fread(text.data(), 1, text.size(), file.get()));
    if (std::ferror(file.get())) {
        elog_log(1, "dblookup: cannot read %s\n", path.c_str());
        return std::nullopt;
    }
    if (text.size() != size || std::fgetc(file.get()) != EOF) {
        elog_log(0, "dblookup: %s changes while it is read\n", path.c_str());
        return std::nullopt;
    }
    return text;
}

}  // namespace velorix::db
