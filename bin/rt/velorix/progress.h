#ifndef VELORIX_TOOL_PROGRESS_H
#define VELORIX_TOOL_PROGRESS_H

/**
 * Progress display of the travel-time pass on standard error: a line of rising percentages, one per
 * grid (genmode 1) or one per depth (genmode 0). Has the shape of velorix_progress.
 */
void mycallback(const char* name, int genmode, double lat, double lon, double depth,
                double percent);

#endif
