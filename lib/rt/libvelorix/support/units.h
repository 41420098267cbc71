#ifndef VELORIX_SUPPORT_UNITS_H
#define VELORIX_SUPPORT_UNITS_H
namespace velorix {

inline constexpr double kPi = 3.141592653589793;
inline constexpr double kDegreesPerRadian = 57.29577951308232;

inline double radians(double degrees) { return degrees * kPi / 180.0; }
inline double degrees(double radians) { return radians * 180.0 / kPi; }

}  // namespace velorix
#endif
