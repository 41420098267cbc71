// Expands the compact table into the records that the tool carries: 24 bytes each (latitude,
// longitude in degrees, depth in km, as doubles of this machine), sorted by latitude, longitude and
// depth. Part of every build.
//
// usage: expand_telegrid telegrid.dat records
#include <algorithm>
#include <bit>
#include <cstdio>
#include <cstring>
#include <exception>
#include <stdexcept>

#include "geodesic_mesh.h"
#include "table_file.h"

namespace {

struct Place {
    telegrid::Position position;
    uint8_t layers;
};

std::vector<Place> places(const telegrid::Layers& layers) {
    const telegrid::Mesh mesh = telegrid::geodesic_mesh(telegrid::kFineSplits);
    std::vector<Place> chosen;
    for (size_t i = 0; i < layers.size(); ++i) {
        if (layers[i]) chosen.push_back({telegrid::rounded_position(mesh.vertices[i]), layers[i]});
    }
    // Vertices of one latitude differ in bits that rounding drops: sort what is left.
    std::sort(chosen.begin(), chosen.end(),
              [](const Place& a, const Place& b) { return a.position < b.position; });
    return chosen;
}

void put_double(std::string& bytes, double value) {
    char raw[sizeof value];
    std::memcpy(raw, &value, sizeof value);
    bytes.append(raw, sizeof raw);
}

std::string records(const telegrid::Layers& layers) {
    std::string bytes;
    int32_t count = 0;
    for (const Place& place : places(layers)) {
        for (size_t i = 0; i < telegrid::kDepthsKm.size(); ++i) {
            if (!(place.layers >> i & 1)) continue;
            put_double(bytes, place.position.lat / 1e5);
            put_double(bytes, place.position.lon / 1e5);
            put_double(bytes, telegrid::kDepthsKm[i]);
            ++count;
        }
    }
    if (count != telegrid::kAllRecords) {
        throw std::runtime_error(std::to_string(count) + " records, not " +
                                 std::to_string(telegrid::kAllRecords));
    }
    return bytes;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: %s telegrid.dat records\n", argv[0]);
        return 1;
    }
    try {
        const auto layers = telegrid::decode(telegrid::read_file(argv[1]));
        telegrid::write_file(argv[2], records(layers));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", argv[0], error.what());
        return 1;
    }
    return 0;
}
