#ifndef VELORIX_ASSOC_FNV_H
#define VELORIX_ASSOC_FNV_H
#include <cstdint>
#include <string_view>

namespace velorix::assoc {

/// FNV-1a, 64 bits (Fowler, Noll and Vo): tells texts apart, and no more is asked of it.
inline uint64_t fnv1a(std::string_view text) {
    uint64_t hash = 0xcbf29ce484222325u;
    for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3u;
    return hash;
}

}  // namespace velorix::assoc
#endif
