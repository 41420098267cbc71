#ifndef VELORIX_PLATFORM_DB_FDSN_EPOCHS_H
#define VELORIX_PLATFORM_DB_FDSN_EPOCHS_H
// From epochs of stations to rows of `site`: one row a place and day, one name a station.
#include <string>
#include <vector>

#include "platform/db/internal.h"

namespace velorix::db {

/// Names stations by their code, or NET_STA where several networks of the file use the code. False
/// after a logged line: two stations would bear one name.
bool name_stations(std::vector<Site>& epochs, const std::string& path);

/**
 * Joins the epochs of each station: those at one place become one row, and where two places share
 * days the one that starts later counts on them. Rows come in the order of the epochs they start
 * with. One logged line names stations that stood at places far apart on one day.
 */
std::vector<Site> join_epochs(std::vector<Site> epochs, const std::string& path);

/// Fills `site` or `affiliation` from epochs. False after a logged line.
bool make_table(std::vector<Site> epochs, const std::string& path, std::string_view table,
                Tables& tables);

}  // namespace velorix::db

#endif
