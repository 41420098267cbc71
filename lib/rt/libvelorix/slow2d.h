#ifndef VELORIX_SLOW2D_H
#define VELORIX_SLOW2D_H
namespace velorix {

/// Drops the process-wide conversion table; the next query builds it anew.
void reset_slowness_table();

}  // namespace velorix
#endif
