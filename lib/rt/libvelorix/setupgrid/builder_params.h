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
using Text = std::unique_ptr<char, Free>;

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
