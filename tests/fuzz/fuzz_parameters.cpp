// Parameter files: the parser, every typed look-up of every key, and the search parameters.
#include <cstdlib>
#include <string>

#include "fuzz.h"
#include "support/tiny_grid.h"

namespace {

using velorix_fuzz::require;

// One look-up: what it finds is released, what it refuses is told.
void look_up(Pf* pf, const char* key, int kind) {
    const velorix_fuzz::Lines lines;
    int integer = 0;
    double real = 0.0;
    char* text = nullptr;
    Tbl* list = nullptr;
    Pf* table = nullptr;
    void* const out = kind == PF_STRING   ? static_cast<void*>(&text)
                      : kind == PF_LIST   ? static_cast<void*>(&list)
                      : kind == PF_ARRAY  ? static_cast<void*>(&table)
                      : kind == PF_DOUBLE ? static_cast<void*>(&real)
                                          : static_cast<void*>(&integer);
    const int found = parse_param(pf, key, kind, 0, out);
    require(found == (lines.number() > 0 ? -1 : 1));
    require(found == 1 || (!text && !list && !table));
    std::free(text);
    freetbl(list, std::free);
}

void walk(Pf* pf, int depth) {
    Tbl* keys = keysarr(pfarr(pf));
    for (int i = 0; i < maxtbl(keys); ++i) {
        const auto* key = static_cast<const char*>(gettbl(keys, i));
        for (const int kind : {PF_INT, PF_DOUBLE, PF_STRING, PF_LIST, PF_ARRAY, PF_BOOLEAN})
            look_up(pf, key, kind);
        Pf* child = nullptr;
        const velorix_fuzz::Lines lines;
        if (depth < 8 && parse_param(pf, key, PF_ARRAY, 0, &child) == 1) walk(child, depth + 1);
    }
    const velorix_fuzz::Lines lines;
    const char* const known[] = {"compute_P", "grids", "method"};
    require(pf_complain_unknown(pf, "input", known, 3) == lines.number());
    require(pfput_string(pf, "method", "anything") == 0);
    look_up(pf, "method", PF_STRING);
    freetbl(keys, nullptr);
}

std::string shown(const SearchParams* sp) {
    char* text = velorix_show_search(sp, nullptr);
    require(text != nullptr);
    std::string copy = text;
    std::free(text);
    return copy;
}

// What is accepted, shown and read again is shown as the same.
void show(const SearchParams* sp, Velorix& grid) {
    const std::string text = shown(sp);
    Pf* pf = nullptr;
    require(pfparse(text.c_str(), "shown", &pf) == 0);
    {
        const velorix_test::Search again(grid);
        require(velorix_search_from_pf(again.sp, pf) == 0 && shown(again.sp) == text);
    }
    pffree(pf);
}

void search(Pf* pf) {
    const velorix_fuzz::Lines lines;
    static velorix_test::TinyGrid grid(velorix_test::ring_of_stations(5));
    const velorix_test::Search search(grid.grid);
    if (velorix_search_from_pf(search.sp, pf) != 0) return require(lines.number() > 0);
    show(search.sp, grid.grid);
    if (search->number_threads > 2) return;
    require(velorix_setup_search(search.sp) == 0 || lines.number() > 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(velorix_fuzz::text_of(data, size));
    Pf* pf = nullptr;
    {
        const velorix_fuzz::Lines lines;
        const int result = pfparse(text.c_str(), "input", &pf);
        require(result == (pf ? 0 : -1) && (result == 0 || lines.number() > 0));
    }
    if (!pf) return 0;
    search(pf);
    walk(pf, 0);
    pffree(pf);
    return 0;
}
