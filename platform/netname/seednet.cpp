#include "platform/netname/seednet.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <exception>
#include <fstream>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "platform/elog/elog.h"
#include "platform/elog/guard.h"

namespace {

struct Registration {
    std::string network;
    std::string code;
};
using Registrations = std::map<std::string, Registration, std::less<>>;

Registrations& registrations() {
    static Registrations table;
    return table;
}

bool usable_code(std::string_view code) {
    if (code.empty() || code.size() >= SEEDNET_CODE_SIZE) return false;
    for (const char c : code) {
        if (c <= ' ' || c > '~') return false;
    }
    return true;
}

std::vector<std::string_view> split(std::string_view line, std::string_view separators) {
    std::vector<std::string_view> fields;
    for (size_t start = 0; (start = line.find_first_not_of(separators, start)) != line.npos;) {
        const size_t end = std::min(line.find_first_of(separators, start), line.size());
        fields.push_back(line.substr(start, end - start));
        start = end;
    }
    return fields;
}

// Network and station of a fixed-width row; what stands behind them (load date) does not matter.
std::vector<std::string_view> affiliation_fields(std::string_view line) {
    const auto columns = [&](size_t first, size_t count) {
        return split(line.substr(std::min(first, line.size()), count), " \t\r");
    };
    auto fields = columns(0, 8);
    const auto station = columns(9, 6);
    fields.insert(fields.end(), station.begin(), station.end());
    return fields;
}

// Whether a line stands in the columns of an affiliation table, with a load date behind them. Lines
// without one say the same to either reader.
bool looks_fixed_width(std::string_view line) {
    constexpr size_t net_end = 8, station = 9, station_end = 15;
    const auto tail = line.substr(std::min(line.find_last_not_of(" \t\r") + 1, line.size()));
    line.remove_suffix(tail.size());
    if (line.find_first_of(",#\t") != line.npos || line.size() <= station || line[0] == ' ' ||
        line[net_end] != ' ' || line[station] == ' ') {
        return false;
    }
    if (line.size() <= station_end) return true;
    const std::string_view date = line.substr(line.find_first_not_of(' ', station_end));
    const bool digits_first = date[0] >= '0' && date[0] <= '9';
    return line[station_end] == ' ' && (date == "-" || (digits_first && date.size() >= 8));
}

std::vector<std::string_view> text_fields(std::string_view line) {
    return split(line.substr(0, line.find('#')), " \t\r,");
}

int bad_line(const char* path, int number, const char* what) {
    return elog_log(0, "seednet_load: %s:%d: %s.\n", path, number, what), -1;
}

int read_table(const char* path, Registrations& table) {
    std::ifstream in(path);
    if (!in) return elog_log(1, "seednet_load: cannot open %s.\n", path), -1;
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) lines.push_back(std::move(line));
    const bool fixed_width = std::string_view(path).ends_with(".affiliation") ||
                             std::all_of(lines.begin(), lines.end(), [](const std::string& line) {
                                 return split(line, " \t\r").empty() || looks_fixed_width(line);
                             });
    for (size_t i = 0; i < lines.size(); ++i) {
        const auto number = static_cast<int>(i + 1);
        const auto fields = fixed_width ? affiliation_fields(lines[i]) : text_fields(lines[i]);
        if (fields.empty()) continue;
        if (fields.size() < 2 || fields.size() > (fixed_width ? 2u : 3u)) {
            return bad_line(path, number, "expected network, station and perhaps a code");
        }
        for (const std::string_view field : fields) {
            if (!usable_code(field)) return bad_line(path, number, "unusable code");
        }
        table.try_emplace(std::string(fields[1]),
                          Registration{std::string(fields[0]), std::string(fields.back())});
    }
    if (in.bad()) return elog_log(1, "seednet_load: cannot read %s.\n", path), -1;
    return static_cast<int>(table.size());
}

// A station of one code in several networks is called NET_STA, here and in station tables. Network
// codes have at most 8 letters and digits (FDSN Source Identifiers 1.0, 2022).
Registration registration_of_name(std::string_view sta) {
    constexpr size_t longest_network = 8;
    const size_t bar = sta.find('_');
    const auto is_plain = [](char c) { return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z'); };
    const bool named = bar != sta.npos && bar >= 1 && bar <= longest_network &&
                       bar + 1 < sta.size() &&
                       std::all_of(sta.begin(), sta.begin() + bar, is_plain);
    if (!named) return {"XX", std::string(sta)};
    return {std::string(sta.substr(0, bar)), std::string(sta.substr(bar + 1))};
}

void copy_code(char* to, std::string_view code) {
    code.copy(to, SEEDNET_CODE_SIZE - 1);
    to[code.size()] = '\0';
}

}  // namespace

extern "C" int seednet_load(const char* path) {
    if (!path) return elog_log(0, "seednet_load: no file name.\n"), -1;
    return velorix::guarded("seednet_load", -1, [&] {
        Registrations table = registrations();
        const int count = read_table(path, table);
        if (count >= 0) registrations().swap(table);
        return count;
    });
}

extern "C" void seednet_clear(void) { registrations().clear(); }

extern "C" int seed_net(const char* sta, char* net, char* seedsta) {
    if (!sta || !net || !seedsta || !usable_code(std::string_view(sta, strnlen(sta, 64))))
        return -1;
    const auto found = registrations().find(std::string_view(sta));
    const bool known = found != registrations().end();
    // A table of stations that are called NET_STA names them so too.
    const auto [network, code] = registration_of_name(known ? found->second.code : sta);
    const bool own_code = known && network != found->second.network;
    copy_code(net, known ? std::string_view(found->second.network) : network);
    copy_code(seedsta, own_code ? std::string_view(found->second.code) : code);
    return 0;
}
