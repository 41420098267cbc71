#ifndef VELORIX_TOOLS_TELEGRID_TABLE_FILE_H
#define VELORIX_TOOLS_TELEGRID_TABLE_FILE_H
// The global source set in its compact form: which depths each vertex of the fine mesh carries.
#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace telegrid {

inline constexpr std::array<int, 6> kDepthsKm{15, 50, 100, 200, 300, 600};
inline constexpr std::array<int32_t, 6> kRecords{112150, 23859, 16751, 9383, 4463, 4293};
inline constexpr int32_t kAllRecords = 170899;

/// One byte a vertex; bit i is set when the vertex carries a record at kDepthsKm[i].
using Layers = std::vector<uint8_t>;

/**
 * The compact form: the line "velorix global source set 1", then for each vertex that carries a
 * record, in vertex order, the number of vertices passed over since the one before, doubled, plus 1
 * when its layers are other than 15 km alone and follow as one byte. Numbers are little-endian
 * groups of seven bits, the eighth bit set in all but the last (LEB128).
 */
std::string encode(std::span<const uint8_t> layers);

/// The inverse. Throws std::runtime_error that says at which byte the data are faulty.
Layers decode(std::string_view bytes);

/// The bytes of a file, and back; throw std::runtime_error that names the file.
std::string read_file(const std::string& path);
void write_file(const std::string& path, std::string_view content);

}  // namespace telegrid

#endif
