// Coordinates files.
#include "fuzz.h"
#include "setupgrid/coords_file.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using velorix_fuzz::require;
    const velorix_fuzz::Lines lines;
    const std::string path =
        velorix_fuzz::write_file("points.txt", velorix_fuzz::text_of(data, size));
    Coords* coords = nullptr;
    const int result = read_coords(path.c_str(), &coords, 12.5);
    require(result == 0 ? coords != nullptr && lines.number() == 0
                        : coords == nullptr && lines.number() > 0);
    double sum = 0.0;
    for (int i = 0; coords && i < coords->npoints; ++i)
        sum += coords->lat[i] + coords->lon[i] + coords->depth[i] + coords->prob[i];
    static volatile double sink;
    sink = sum;
    static_cast<void>(sink);
    coords_free(coords);
    return 0;
}
