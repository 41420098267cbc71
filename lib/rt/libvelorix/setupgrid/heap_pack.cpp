// A laid-out record and its arrays become one block of bytes.
#include <cstdlib>
#include <cstring>

#include "platform/elog/elog.h"
#include "setupgrid/heap_layout.h"
#include "support/c_array.h"
#include "support/grid_view.h"

namespace {

using velorix::kHeaderSize;
using velorix::padded;

int64_t heap_bytes(const Velorix& grid) {
    const int64_t tables = (grid.P_times ? 1 : 0) + (grid.S_times ? 1 : 0);
    return kHeaderSize + grid.stsize + grid.dpsize + grid.srsize + tables * padded(grid.ttsize) +
           padded(grid.ttosize) + padded(grid.dssize);
}

bool sizes_are_sane(const Velorix& grid) {
    for (const int32_t size :
         {grid.stsize, grid.dpsize, grid.srsize, grid.ttsize, grid.ttosize, grid.dssize}) {
        if (!velorix::fits_size_field("velorix_create_heap", "a block", size)) return false;
    }
    return velorix::fits_size_field("velorix_create_heap", "a heap", heap_bytes(grid));
}

// A buffer of at least `size` bytes: new, grown, or as it is.
bool provide(char** heap, int32_t* heap_size, int32_t size) {
    const auto bytes = static_cast<size_t>(size);
    if (!*heap || *heap_size == 0) {
        *heap = static_cast<char*>(velorix::c_reallocate(nullptr, bytes));
        if (!*heap) return elog_log(1, "velorix_create_heap: malloc() error.\n"), false;
        *heap_size = size;
    } else if (*heap_size < size) {
        char* grown = static_cast<char*>(velorix::c_reallocate(*heap, bytes));
        if (!grown) {
            elog_log(1, "velorix_create_heap: realloc() error.\n");
            std::free(*heap);
            *heap = nullptr;
            *heap_size = 0;
            return false;
        }
        *heap = grown;
        *heap_size = size;
    }
    return true;
}

// An array that is not there is written as zeros, so that no old memory reaches a file.
char* append(char* to, const void* from, int32_t bytes) {
    const auto count = static_cast<size_t>(bytes);
    if (from) {
        std::memcpy(to, from, count);
    } else {
        std::memset(to, 0, count);
    }
    return to + bytes;
}

template <class T>
char* place(T*& table, char* at, int32_t bytes) {
    if (!table) return at;
    table = reinterpret_cast<T*>(at);
    return at + padded(bytes);
}

}  // namespace

extern "C" int velorix_create_heap(Velorix* grid, char** heap, int32_t* nbytes,
                                   int32_t* heap_size) {
    if (!sizes_are_sane(*grid)) return -1;
    const auto size = static_cast<int32_t>(heap_bytes(*grid));
    if (!provide(heap, heap_size, size)) return -1;
    *nbytes = size;
    grid->size = size;

    char* at = append(*heap, static_cast<const Velorix*>(grid), sizeof(Velorix));
    at = append(at, grid->stations, grid->stsize);
    at = append(at, grid->depths, grid->dpsize);
    at = append(at, grid->sources, grid->srsize);
    // Tables and padding start as zeros: what a failed pass leaves unwritten is never old memory.
    std::memset(at, 0, static_cast<size_t>(*heap + size - at));
    at = place(grid->distances, at, grid->dssize);
    at = place(grid->P_times, at, grid->ttsize);
    at = place(grid->S_times, at, grid->ttsize);
    place(grid->ttoffsets, at, grid->ttosize);
    return size;
}
