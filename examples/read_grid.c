/*
 * Reads a grid file and prints the travel times from one node to one station, as a program in any
 * language would through the C interface.
 *
 *     read_grid FILE STATION [NODE]
 */
#include <stdio.h>
#include <stdlib.h>

#include "platform/elog/elog.h"
#include "velorix.h"

/* Node number to the mesh numbers that velorix_get_ttimes takes. */
static int print_times(const Velorix* grid, const Station* station, long node) {
    if (node < 0 || node >= grid->nn) {
        return elog_log(0, "read_grid: node %ld is not in 0 .. %d.\n", node, grid->nn - 1), -1;
    }
    const int regular = grid->mode == VELORIX_MODE_REGULAR;
    const long position = regular ? node % grid->nh : node;
    const int32_t id = regular ? (int32_t)(node / grid->nh) : 0;
    const int32_t ix = (int32_t)(regular ? position % grid->nx : node);
    const int32_t iy = regular ? (int32_t)(position / grid->nx) : 0;
    double p = -1.0;
    double s = -1.0;
    velorix_get_ttimes(grid, station->index, ix, iy, id, &p, &s);
    const Source* source = &grid->sources[position];
    printf("%.64s: node %ld (%.4f %.4f, %.1f km) to %s: P %.3f s, S %.3f s\n", grid->name, node,
           source->lat, source->lon, regular ? grid->depths[id] : source->depth, station->sta, p,
           s);
    return 0;
}

int main(int argc, char** argv) {
    elog_init(argc, argv);
    if (argc < 3) {
        fputs("usage: read_grid FILE STATION [NODE]\n", stderr);
        return 1;
    }
    Tbl* grids = NULL;
    const int count = velorix_read_file(argv[1], &grids);
    int failed = count < 0;
    for (int i = 0; i < count; ++i) {
        const Velorix* grid = gettbl(grids, i);
        const Station* station = getarr(grid->sta_arr, argv[2]);
        if (!station) {
            elog_log(0, "read_grid: %.64s has no station %s.\n", grid->name, argv[2]);
            failed = 1;
        } else if (print_times(grid, station, argc > 3 ? strtol(argv[3], NULL, 10) : 0) < 0) {
            failed = 1;
        }
    }
    freetbl(grids, velorix_release);
    return failed;
}
