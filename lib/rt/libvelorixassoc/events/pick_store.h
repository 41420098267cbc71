#ifndef VELORIX_ASSOC_PICK_STORE_H
#define VELORIX_ASSOC_PICK_STORE_H
// The picks that events may still be made of, in order of time.
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "../velorixassoc.h"
#include "velorix_pvt.h"

namespace velorix::assoc {

/// What a pick may be on one grid.
struct Role {
    int station = -1;           ///< number in the grid; -1: not in it, or no phase allowed
    int place = -1;             ///< the same whether or not a phase is allowed
    bool p = false, s = false;  ///< phases it may join an event as
    bool search_s = false;      ///< tried as S in the search for the best node
    bool sifted = false;        ///< a sifter takes away a phase that its label allows
};

/// A pick on its way through the associator.
struct Waiting {
    Pick pick;
    std::vector<Role> roles;             ///< one a grid
    std::vector<unsigned char> voted{};  ///< one a grid: the phases it has voted as
    PickList record{};                   ///< the engine's view
    long event = 0;  ///< number of the final event that took it, from 1; 0: free
    long track = 0;  ///< number of the announced event that has it, from 1; 0: none
};

/// Order of the picks: by time, then by what tells two onsets apart. Negative, 0 (the same onset:
/// identifiers and quality may differ) or positive.
int compare_onsets(const Pick& a, const Pick& b);

class PickStore {
  public:
    /// Puts a pick in its place. Of the same onset twice the one with the lower identifier stays.
    /// Null when the onset was there.
    Waiting* insert(Pick pick);

    struct Before {
        using is_transparent = void;
        bool operator()(const std::unique_ptr<Waiting>& a,
                        const std::unique_ptr<Waiting>& b) const {
            return compare_onsets(a->pick, b->pick) < 0;
        }
        bool operator()(const std::unique_ptr<Waiting>& a, double time) const {
            return a->pick.time < time;
        }
        bool operator()(double time, const std::unique_ptr<Waiting>& a) const {
            return time < a->pick.time;
        }
    };
    using Picks = std::set<std::unique_ptr<Waiting>, Before>;
    using Iterator = Picks::const_iterator;
    Iterator begin() const { return picks_.begin(); }
    Iterator end() const { return picks_.end(); }
    /// The first pick at or behind a time.
    Iterator from(double time) const;

    /// Takes out the picks before a time, each to be accounted for.
    std::vector<std::unique_ptr<Waiting>> take_before(double time);
    size_t size() const { return picks_.size(); }

  private:
    Picks picks_;
};

}  // namespace velorix::assoc
#endif
