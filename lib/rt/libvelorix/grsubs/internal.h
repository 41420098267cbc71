#ifndef VELORIX_GRSUBS_INTERNAL_H
#define VELORIX_GRSUBS_INTERNAL_H
// Small helpers of the engine's units.
#include <cstring>

#include "platform/containers/containers.h"
#include "platform/strmatch/strmatches.h"
#include "velorix_pvt.h"

namespace velorix {

/// Calls a function with every non-null entry of a list, in order.
template <class T, class Function>
void for_each_entry(const Tbl* tbl, Function function) {
    for (int i = 0, n = maxtbl(tbl); i < n; ++i) {
        if (T* entry = static_cast<T*>(gettbl(tbl, i))) function(*entry);
    }
}

/// The list of an Arr's keys, released when it goes.
class Keys {
  public:
    explicit Keys(const Arr* arr) : keys_(keysarr(arr)) {}
    ~Keys() { freetbl(keys_, nullptr); }
    Keys(const Keys&) = delete;
    Keys& operator=(const Keys&) = delete;

    /// False when memory failed: the map's keys are then not known.
    bool listed() const { return keys_ != nullptr; }
    int size() const { return maxtbl(keys_); }
    const char* operator[](int i) const { return static_cast<const char*>(gettbl(keys_, i)); }

  private:
    Tbl* keys_;
};

/// Whether a text passes a sifter; an unset sifter passes all, a broken one nothing.
inline bool sifted(const char* text, const char* sifter, Hook** hook_of_sifter) {
    return !sifter || strmatches(text, sifter, hook_of_sifter) == 1;
}

/// Groups picks as velorix_fill_staobs_tbl; with `keep_picks` false the observations' pick
/// references are null.
int group_picks(Tbl* picktbl, Arr** stao_arr, bool with_arid, bool reprocess, bool keep_picks);

}  // namespace velorix
#endif
