#ifndef VELORIX_SETUPGRID_HEAP_CHECK_H
#define VELORIX_SETUPGRID_HEAP_CHECK_H
// Whether the bytes of a heap can be trusted: counts, sizes, offsets, indices.
#include "setupgrid/heap_layout.h"

namespace velorix {

/// Where a heap stands, for messages.
struct HeapPlace {
    const char* who;    // the function that reads
    const char* label;  // of the file or buffer
    uint64_t offset;    // of the heap in its file
};

/**
 * Copies and checks the header of a heap.
 * @param[in] available bytes from the heap's start to the end of what was read
 * @return false after a logged line that names the byte at fault
 */
bool read_header(const char* heap, uint64_t available, const HeapPlace& place, Velorix& grid);

/**
 * Checks stations, positions, depths and offsets of a grid whose pointers are set, and builds the
 * map from station code to station. False after a logged line; throws std::bad_alloc.
 */
bool check_contents(const Velorix& grid, const char* heap, const HeapPlace& place, Arr** map);

}  // namespace velorix

#endif
