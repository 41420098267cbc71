#ifndef VELORIX_INFO_LISTINGS_H
#define VELORIX_INFO_LISTINGS_H
// The rows of a grid's stations, nodes and travel times.
#include "nodes.h"
#include "options.h"
#include "rows.h"
#include "velorix.h"

namespace velorix::info {

void list_stations(const Velorix& grid, RowSink& rows);
void list_nodes(const Velorix& grid, RowSink& rows);
/// From one node to every station; a table that the grid does not carry leaves its cells empty.
void list_times(const Velorix& grid, const Node& from, RowSink& rows);

/// The node that was asked for; nothing after a complaint that names the grid.
std::optional<Node> chosen_node(const Velorix& grid, const NodeChoice& choice);

}  // namespace velorix::info
#endif
