// Geographic coordinates and the azimuthal equidistant frame about a reference point.
#include <cmath>

#include "platform/geodesy/geodesy.h"
#include "support/units.h"
#include "velorix_pvt.h"

extern "C" void latlon2xydel(double xlat1, double xlon1, double xlat2, double xlon2, double* xdel,
                             double* ydel) {
    *xdel = 0.0;
    *ydel = 0.0;
    if (xlat1 == xlat2 && xlon1 == xlon2) return;
    double delta = 0.0;
    double az = 0.0;
    dist(velorix::radians(xlat1), velorix::radians(xlon1), velorix::radians(xlat2),
         velorix::radians(xlon2), &delta, &az);
    delta = velorix::degrees(delta);
    *xdel = std::sin(az) * delta;
    *ydel = std::cos(az) * delta;
}

extern "C" void xydel2latlon(double xlat1, double xlon1, double xdel, double ydel, double* xlat2,
                             double* xlon2) {
    *xlat2 = xlat1;
    *xlon2 = xlon1;
    if (xdel == 0.0 && ydel == 0.0) return;
    const double delta = std::sqrt(xdel * xdel + ydel * ydel);
    const double az = std::atan2(xdel, ydel);
    double lat = 0.0;
    double lon = 0.0;
    latlon(velorix::radians(xlat1), velorix::radians(xlon1), velorix::radians(delta), az, &lat,
           &lon);
    *xlat2 = velorix::degrees(lat);
    *xlon2 = velorix::degrees(lon);
}
