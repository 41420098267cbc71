#ifndef VELORIX_SETUPGRID_BUILDER_PARAMS_H
#define VELORIX_SETUPGRID_BUILDER_PARAMS_H
// Parameters that every builder reads, and what every builder does with them.
#include <cstdlib>
#include <memory>
#include <span>

#include "support/c_array.h"
#include "velorix.h"

namespace velorix {

/// A string that parse_param has handed over; null while absent.
using Text = OwnedText;

/// Lets a C call fill a unique_ptr: parse_param(pf, key, PF_STRING, 1, out(text)).
class OutText {
  public:
    explicit OutText(Text& target) : target_(target) {}
    ~OutText() { target_.reset(value_); }
    OutText(const OutText&) = delete;
    OutText& operator=(const OutText&) = delete;
    operator void*() { return &value_; }

  private:
    Text& target_;
    char* value_ = nullptr;
};
inline OutText out(Text& target) { return OutText(target); }

/// The tables that a grid is to carry.
struct Wanted {
    int P = 0;
    int S = 0;
    int distances = 0;
};

/// Reads the parameters of one grid. Each call logs what is wrong, in its builder's name, and then
/// returns false.
class BuilderParams {
  public:
    /// Whether a line about a parameter that cannot be read says which.
    enum class Naming { key, none };

    BuilderParams(const char* who, Pf* pf) : who_(who), pf_(pf) {}
    const char* who() const { return who_; }
    Pf* pf() const { return pf_; }

    /// A finite number; an optional one keeps its value when absent.
    bool real(const char* key, double& value, bool required = true,
              Naming naming = Naming::key) const;
    /// A finite number of at most `limit` degrees either way: arcs beyond a full turn lead nowhere
    /// new, and their squares may overflow.
    bool angle(const char* key, double limit, double& value) const;
    /// A number or an infinity, absent or not.
    bool bound(const char* key, double& value, Naming naming) const;
    bool integer(const char* key, int& value, Naming naming) const;
    /// An integer from 1 to `largest`.
    bool count(const char* key, int largest, int& value) const;
    bool text(const char* key, Text& value, Naming naming, bool required = true) const;
    /// A name that the record holds, with a complaint where it is cut.
    bool name(const char* key, Text& value, Naming naming) const;
    /// A list of texts, for the caller to own.
    bool list(const char* key, Tbl*& value) const;
    bool flag(const char* key, int& value) const;
    /// The reference point: that of the station `refsta`, else `latr` and `lonr`.
    bool reference(const Velorix& grid, double& latr, double& lonr) const;
    /// compute_P and compute_S, of which one must be set, then compute_distances; marks the grid's
    /// tables as they are read.
    bool tables(Velorix& grid) const;
    bool times_wanted(const Wanted& wanted) const;

  private:
    bool cannot(const char* key, Naming naming) const;
    bool finite(const char* key, double value) const;

    const char* who_;
    Pf* pf_;
};

/// Forgets geometry and tables of an earlier layout; counts and arrays are for the builder to set.
void clear_layout(Velorix& grid);

/// Puts presence markers into the pointers of P_times and S_times, null where not wanted.
void mark_times(Velorix& grid, const Wanted& wanted);
/// The same for distances.
void mark_distances(Velorix& grid, const Wanted& wanted);

/**
 * The size of a table that holds one float per (node, station) pair.
 * @return false after a logged line of `who` when it does not fit 32 bits
 */
bool pair_table_size(const char* who, int64_t nodes, int32_t ns, int32_t& bytes);

/// Counts and sizes of a general grid of so many nodes; false after a logged line of `who`.
bool size_point_list(const char* who, Velorix& grid, int64_t nodes);

/// Warns about keys of a grid that neither the driver, the station set-up nor this builder reads,
/// and about a name that the record cannot hold.
void complain_unknown_keys(const char* who, Pf* pf, const char* name,
                           std::span<const char* const> keys);

/// Complains when a name is longer than the record holds; its first 64 bytes are what is used.
void complain_if_cut(const char* who, const char* key, const char* text);

/// Copies the grid's name and the calculator's method and model into the record.
void set_names(Velorix& grid, const char* name, const char* method, const char* model);

}  // namespace velorix

#endif
