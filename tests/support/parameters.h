#ifndef VELORIX_TESTS_SUPPORT_PARAMETERS_H
#define VELORIX_TESTS_SUPPORT_PARAMETERS_H
// Parameter nodes from text, and records that release themselves.
#include <memory>
#include <stdexcept>
#include <string>

#include "velorix.h"

namespace velorix_test {

struct FreePf {
    void operator()(Pf* pf) const { pffree(pf); }
};
using PfPtr = std::unique_ptr<Pf, FreePf>;

inline PfPtr parameters(const std::string& toml) {
    Pf* pf = nullptr;
    if (pfparse(toml.c_str(), "test.toml", &pf) < 0) throw std::runtime_error("bad TOML: " + toml);
    return PfPtr(pf);
}

struct FreeGrid {
    void operator()(Velorix* grid) const { velorix_free(grid); }
};
using GridPtr = std::unique_ptr<Velorix, FreeGrid>;

inline GridPtr new_grid() { return GridPtr(velorix_new()); }

/// A packed grid's heap buffer.
struct Heap {
    char* bytes = nullptr;
    int32_t size = 0;
    int32_t capacity = 0;

    Heap() = default;
    Heap(const Heap&) = delete;
    Heap& operator=(const Heap&) = delete;
    ~Heap() { free(bytes); }
    int pack(Velorix* grid) { return velorix_create_heap(grid, &bytes, &size, &capacity); }
    std::string text() const { return {bytes, static_cast<size_t>(size)}; }
};

}  // namespace velorix_test
#endif
