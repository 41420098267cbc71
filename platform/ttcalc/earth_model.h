#ifndef VELORIX_TTCALC_EARTH_MODEL_H
#define VELORIX_TTCALC_EARTH_MODEL_H
// A spherically symmetric earth as a table of depths and velocities, and its reader.
#include <limits>
#include <string>
#include <string_view>
#include <vector>

namespace velorix::tt {

constexpr double kEarthRadius = 6371.0;  // km

/// One row of a model. Velocities are linear in depth between rows; a depth given twice is a
/// discontinuity, the row above first.
struct ModelPoint {
    double depth;  ///< km below the surface
    double vp;     ///< km/s
    double vs;     ///< km/s, 0 in a fluid
};

constexpr double kNoBoundary = std::numeric_limits<double>::infinity();

struct EarthModel {
    std::vector<ModelPoint> points;  ///< by increasing depth, the first at the surface
    // Depths (km) of the boundaries that phases are named after; kNoBoundary when there is none.
    double conrad = kNoBoundary;      ///< the upper crust ends; the Moho where there is no Conrad
    double moho = kNoBoundary;        ///< the crust ends
    double transition = kNoBoundary;  ///< "410 km": turning rays are Pn above, P below
    double cmb = kNoBoundary;         ///< the fluid core begins
    double icb = kNoBoundary;         ///< the inner core begins
};

enum class ModelFormat { kTvel, kNamedDiscontinuities };

/**
 * Reads a model from the text of a `.tvel` or `.nd` file.
 * @param[in]  origin name of the file, for the error text
 * @param[out] error  "file:line: what is wrong" (without line when it concerns the whole file)
 * @return false when the text is faulty; `model` is then untouched
 */
bool parse_model(std::string_view text, ModelFormat format, const std::string& origin,
                 EarthModel& model, std::string& error);

}  // namespace velorix::tt
#endif
