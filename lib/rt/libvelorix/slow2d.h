#ifndef VELORIX_SLOW2D_H
#define VELORIX_SLOW2D_H
namespace velorix {

/// Drops the process-wide conversion table; the next query builds it anew.
void reset_slowness_table();

/// What the table was built for.
struct SlownessTable {
    const char* model;  // null: it is not built yet
    double depth;       // of the source, km
};
SlownessTable slowness_table();

}  // namespace velorix
#endif
