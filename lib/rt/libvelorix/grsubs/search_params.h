#ifndef VELORIX_GRSUBS_SEARCH_PARAMS_H
#define VELORIX_GRSUBS_SEARCH_PARAMS_H
// What parameters made by the library own beyond their listed fields.
#include <deque>
#include <string>
#include <vector>

#include "velorix_pvt.h"

struct SearchOwned {
    std::deque<std::string> texts;  // a deque: the fields point at them
    std::vector<station_weights_> station_weights;
    std::vector<weights_> p_weights;
    std::vector<weights_> s_weights;
    std::vector<nsta_thresh_entry_> nsta_thresh;
    Arr* patterns_cache = nullptr;
    Arr* defining_stations = nullptr;
    Tbl* drop_grids = nullptr;
    int threads_made = 0;  // number_threads of the set-up; 0 before it

    SearchOwned() = default;
    ~SearchOwned();
    SearchOwned(const SearchOwned&) = delete;
    SearchOwned& operator=(const SearchOwned&) = delete;

    /// A copy of a text that lives as long as the parameters.
    char* keep(const std::string& text) { return texts.emplace_back(text).data(); }
    /// Drops the patterns with their compiled forms.
    void release_patterns();
};

namespace velorix {

/// Whether the parameters suit their grid; complains of what does not matter, logs what does.
bool check_search(const SearchParams& sp);

}  // namespace velorix
#endif
