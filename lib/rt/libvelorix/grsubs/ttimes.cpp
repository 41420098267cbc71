#include "grsubs/table_index.h"

extern "C" int velorix_get_ttimes(const Velorix* grid, int32_t is, int32_t ix, int32_t iy,
                                  int32_t id, double* p_time, double* s_time) {
    if (grid->type != VELORIX_TYPE_3D && grid->type != VELORIX_TYPE_1D) return 0;
    const int64_t entry = velorix::time_entry(*grid, {ix, iy, id}, is);
    if (grid->P_times) *p_time = static_cast<double>(grid->P_times[entry]);
    if (grid->S_times) *s_time = static_cast<double>(grid->S_times[entry]);
    return 0;
}
