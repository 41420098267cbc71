#ifndef VELORIX_TTCALC_BUILTIN_MODELS_H
#define VELORIX_TTCALC_BUILTIN_MODELS_H
#include <string_view>

namespace velorix::tt {

/// Text of the .tvel table of a built-in model; empty for a name that is none.
std::string_view builtin_model(std::string_view name);

}  // namespace velorix::tt
#endif
