// Thins an earthquake catalogue and plate boundaries to the cells that make_telegrid ranks.
//
// usage: thin_telegrid_catalogue seismicity.csv plate_boundaries.csv cells.txt
//   seismicity.csv        header line, then lat,lon,depth_km,mag,...
//   plate_boundaries.csv  header line, then segment,lat,lon,...; rows of one segment are joined
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <exception>
#include <map>
#include <numbers>
#include <stdexcept>
#include <string>

#include "cells.h"
#include "geodesic_mesh.h"
#include "table_file.h"

namespace {

using telegrid::Vector;

constexpr double kWorldwideMagnitude = 5.0;  // catalogued all over the world since 1973
constexpr double kStrongWeight = 1.0;
constexpr double kWeakWeight = 0.25;  // smaller events are known for some regions only
constexpr double kBoundaryWeight = 0.5;
constexpr double kBoundaryStepDeg = 0.1;
// Events down to each depth (km) belong to the layer; 35 km is a depth that analysts fix for
// shallow events, hence included.
constexpr std::array<double, 6> kDeepestKm{35.0, 75.0, 150.0, 250.0, 450.0, 1e9};

constexpr const char* kSources =
    "# Earthquakes 1964-2023 and plate boundaries, thinned to vertices of the eight-split "
    "geodesic\n"
    "# mesh (numbered in order of creation). Weight 1: an event of magnitude 5 or more is nearest "
    "to\n"
    "# the vertex; 0.25: smaller events only; 0.5: a plate boundary. Sources:\n"
    "# - USGS ComCat and NEIC significant earthquakes 1965-2016: public domain.\n"
    "# - Slab2 input catalogues (Hayes et al. 2018, Science 362, 58-61, "
    "doi:10.1126/science.aat4723):\n"
    "#   public domain.\n"
    "# - PB2002 plate boundaries, Peter Bird (2003), G-cubed 4(3), 1027, doi:10.1029/2001GC000252, "
    "as\n"
    "#   prepared by Hugo Ahlenius (Nordpil): Open Data Commons Attribution (ODC-By 1.0).\n";

Vector unit_vector(double lat, double lon) {
    constexpr double radian = std::numbers::pi / 180.0;
    const double r = std::cos(lat * radian);
    return {r * std::cos(lon * radian), r * std::sin(lon * radian), std::sin(lat * radian)};
}

// Nearest vertex by descent along the mesh's edges; its triangles are acute, so that no vertex but
// the nearest has all neighbours farther away.
class Snapper {
  public:
    Snapper() : mesh_(telegrid::geodesic_mesh(telegrid::kFineSplits)), near_(neighbours(mesh_)) {}

    int32_t nearest(const Vector& point) const {
        int32_t best = 0;
        for (int32_t i = 1; i < 12; ++i) {
            if (closeness(i, point) > closeness(best, point)) best = i;
        }
        for (int32_t from = -1; from != best;) {
            from = best;
            for (const int32_t to : near_[static_cast<size_t>(from)]) {
                if (to >= 0 && closeness(to, point) > closeness(best, point)) best = to;
            }
        }
        return best;
    }

  private:
    double closeness(int32_t vertex, const Vector& point) const {
        return dot(mesh_.vertices[static_cast<size_t>(vertex)], point);
    }

    telegrid::Mesh mesh_;
    std::vector<std::array<int32_t, 6>> near_;
};

// Calls row(fields) with the first `count` numbers of every line but the first.
template <class Row>
void read_table(const std::string& path, size_t count, Row row) {
    const std::string text = telegrid::read_file(path);
    std::vector<double> fields(count);
    size_t number = 1;
    for (size_t at = text.find('\n') + 1; at > 0 && at < text.size();
         at = text.find('\n', at) + 1) {
        ++number;
        const char* from = text.data() + at;
        for (double& field : fields) {
            const auto [end, error] = std::from_chars(from, text.data() + text.size(), field);
            if (error != std::errc()) {
                throw std::runtime_error(path + ":" + std::to_string(number) + ": not a number");
            }
            from = end + 1;
        }
        row(fields);
    }
}

using Weights = std::map<int32_t, double>;  // per vertex the largest weight

std::array<Weights, 6> event_cells(const std::string& path, const Snapper& snapper) {
    std::array<Weights, 6> layers;
    read_table(path, 4, [&](const std::vector<double>& event) {
        const auto deepest = std::find_if(kDeepestKm.begin(), kDeepestKm.end(),
                                          [&](double km) { return event[2] <= km; });
        const double weight = event[3] >= kWorldwideMagnitude ? kStrongWeight : kWeakWeight;
        auto& layer = layers[static_cast<size_t>(deepest - kDeepestKm.begin())];
        double& cell = layer[snapper.nearest(unit_vector(event[0], event[1]))];
        cell = std::max(cell, weight);
    });
    return layers;
}

Weights boundary_cells(const std::string& path, const Snapper& snapper) {
    Weights cells;
    double segment = -1.0;
    Vector from{};
    read_table(path, 3, [&](const std::vector<double>& row) {
        const Vector to = unit_vector(row[1], row[2]);
        const double length_deg =
            2.0 * std::asin(std::sqrt(chord_squared(from, to)) / 2.0) * 180.0 / std::numbers::pi;
        const int steps =
            row[0] == segment ? static_cast<int>(std::ceil(length_deg / kBoundaryStepDeg)) : 0;
        for (int i = 0; i < steps; ++i) {
            const double part = static_cast<double>(i) / steps;
            const Vector on_chord{from.x + part * (to.x - from.x), from.y + part * (to.y - from.y),
                                  from.z + part * (to.z - from.z)};
            cells[snapper.nearest(on_chord)] = kBoundaryWeight;
        }
        cells[snapper.nearest(to)] = kBoundaryWeight;
        segment = row[0];
        from = to;
    });
    return cells;
}

void add_group(std::vector<telegrid::CellGroup>& groups, int depth_km, double weight,
               const Weights& cells) {
    telegrid::CellGroup group{depth_km, weight, {}};
    for (const auto& [vertex, cell_weight] : cells) {
        if (cell_weight == weight) group.vertices.push_back(vertex);
    }
    groups.push_back(std::move(group));
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fprintf(stderr, "usage: %s seismicity.csv plate_boundaries.csv cells.txt\n", argv[0]);
        return 1;
    }
    try {
        const Snapper snapper;
        const auto layers = event_cells(argv[1], snapper);
        std::vector<telegrid::CellGroup> groups;
        for (size_t i = 0; i < layers.size(); ++i) {
            add_group(groups, telegrid::kDepthsKm[i], kStrongWeight, layers[i]);
            add_group(groups, telegrid::kDepthsKm[i], kWeakWeight, layers[i]);
        }
        add_group(groups, telegrid::kDepthsKm[0], kBoundaryWeight,
                  boundary_cells(argv[2], snapper));
        telegrid::write_file(argv[3], kSources + cells_to_text(groups));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", argv[0], error.what());
        return 1;
    }
    return 0;
}
