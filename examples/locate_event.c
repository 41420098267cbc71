/*
 * Locates one event from picks on the first grid of a grid file, in C.
 *
 *     locate_event GRIDFILE PICKS.toml
 *
 * PICKS.toml holds the list `arrivals` ("station channel phase time snr" a line).
 */
#include <stdio.h>
#include <stdlib.h>

#include "velorix.h"
#include "velorix_pvt.h"

/* Everything that is released at the end, whatever happens before. */
struct Work {
    Tbl* grids;
    Pf* pf;
    Tbl* picks;
    Arr* stations;
    Tbl* listed;
    SearchParams* search;
    Arr* searches;
    GridResults* result;
};

static int read_input(struct Work* w, const char* grid_file, const char* pick_file) {
    if (velorix_read_file(grid_file, &w->grids) < 1) return -1;
    if (pfread(pick_file, &w->pf) < 0) return -1;
    return velorix_fill_plist(w->pf, &w->picks, 0);
}

static int prepare(struct Work* w) {
    w->search = velorix_new_search(gettbl(w->grids, 0));
    if (!w->search || velorix_setup_search(w->search) < 0) return -1;
    if (velorix_fill_staobs_tbl(w->picks, &w->stations, 0, 0) < 0) return -1;
    w->searches = newarr(0);
    if (setarr(w->searches, "grid", w->search) < 0) return -1;
    return velorix_setup_staobs(w->stations, w->search, &w->listed);
}

static int locate(struct Work* w) {
    double f, score, std_weighted, std_plain, lat, lon, depth, time;
    int32_t ix, iy, id;
    if (velorix_scan_grid(w->search, w->listed, &f, &score, &std_weighted, &std_plain, &lat, &lon,
                          &depth, &time, &ix, &iy, &id) < 0) {
        return -1;
    }
    return velorix_make_result(w->searches, "grid", w->listed, w->picks, std_plain, std_weighted,
                               score, ix, iy, id, time, lat, lon, depth, &w->result);
}

static void print(const GridResults* event) {
    printf("%s: time %.3f lat %.4f lon %.4f depth %.1f score %.2f\n", event->grid_name, event->time,
           event->lat, event->lon, event->depth, event->performance);
    printf("stations %d defining %d associated %d std %.3f%s\n", event->nsta, event->ndef,
           event->nass, event->std_weighted, event->edge_fault ? " on the edge" : "");
    for (int i = 0; i < maxtbl(event->pick_tbl); ++i) {
        const PickList* pick = gettbl(event->pick_tbl, i);
        if (!pick->associated) continue;
        printf("%-5s %-4s %s time %.3f residual %6.3f distance %.3f\n", pick->sta, pick->chan,
               pick->ophase, pick->time, pick->resid, pick->delta);
    }
}

static void release(struct Work* w) {
    velorix_free_result(w->result);
    freearr(w->searches, 0);
    velorix_free_search(w->search);
    freetbl(w->listed, 0);
    velorix_free_staobs_arr(w->stations);
    freetbl(w->picks, free);
    pffree(w->pf);
    freetbl(w->grids, velorix_release);
}

int main(int argc, char** argv) {
    struct Work w = {0};
    int failed = 1;
    if (argc != 3) {
        fputs("usage: locate_event GRIDFILE PICKS.toml\n", stderr);
        return 1;
    }
    if (read_input(&w, argv[1], argv[2]) == 0 && prepare(&w) > 0 && locate(&w) == 0) {
        print(w.result);
        failed = 0;
    }
    release(&w);
    return failed;
}
