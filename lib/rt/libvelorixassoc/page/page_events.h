#ifndef VELORIX_ASSOC_PAGE_EVENTS_H
#define VELORIX_ASSOC_PAGE_EVENTS_H
// Events, their picks and the picks left out, and what was refused, as the columns of a page.
#include <set>
#include <string>
#include <vector>

#include "../velorixassoc.h"
#include "columns.h"
#include "page_stations.h"

namespace velorix::assoc {

/// Columns by name, in the order in which they were first asked for.
class Table {
  public:
    Column& operator[](const char* name);
    std::string json() const;

  private:
    std::vector<std::pair<const char*, Column>> columns_;
};

class PageEvents {
  public:
    PageEvents(PageStations& stations, Texts& texts) : stations_(stations), texts_(texts) {}
    void add(const Event& event);
    void add(const Refusal& refusal);
    /// The members "events", "picks", "left" and "refused".
    void write(Members& out) const;

  private:
    void add_pick(const EventPick& pick, const Event& event);
    void add_left(const LeftOut& left, const Event& event);
    void add_identity(Table& table, const Pick& pick, double origin);
    void add_text(Table& table, const char* name, const std::string& text) {
        table[name].add(texts_.number(text));
    }

    PageStations& stations_;
    Texts& texts_;
    std::set<std::string> known_refusals_;
    Table events_, picks_, left_, refused_;
};

}  // namespace velorix::assoc
#endif
