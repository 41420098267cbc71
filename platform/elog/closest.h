#ifndef VELORIX_PLATFORM_CLOSEST_H
#define VELORIX_PLATFORM_CLOSEST_H
// What a person most likely meant, for messages that say "did you mean".
#include <span>
#include <string_view>

namespace velorix {

/// The known name nearest to `word`, or null when none is near. Letters count without case, of a
/// dotted name ("events.italy.min_picks") only what follows the last dot; a name that begins the
/// word, or that the word begins, is near whatever its length.
const char* closest(std::string_view word, std::span<const char* const> known);

}  // namespace velorix

#endif
