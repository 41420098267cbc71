#ifndef VELORIX_SUPPORT_TABLE_PLACE_H
#define VELORIX_SUPPORT_TABLE_PLACE_H
// From a table's entry back to the node and station it belongs to, for messages.
#include <cstdint>
#include <string>

#include "velorix.h"

namespace velorix {

enum class TableKind { times, distances, offsets };

/// Entries of a table; 0 when the grid lacks it.
size_t table_entries(const Velorix& grid, TableKind kind);

/**
 * "of node 17 (42.100 13.200, 5 km) to station ARRO". An entry of a distance table is that of the
 * first node and station that use it, with "at 12.500 degrees and 5 km" in front; those that no
 * pair uses have that alone.
 */
std::string place_text(const Velorix& grid, TableKind kind, int64_t entry);

}  // namespace velorix
#endif
