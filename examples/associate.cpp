// Events in a file of picks, with the associator library.
//   associate GRID_FILE PICK_FILE
//
// Prints each event when it is final, and what became of the picks. With `announce` set to true
// below, events come as they form: that is what a program does which gets its picks from a live
// source.
#include <velorixassoc.h>

#include <cstdio>

using namespace velorix::assoc;

static void print(const Report& report) {
    const Event& e = report.event;
    std::printf("%-9s %.2f  %.3f %.3f  %.1f +- %.1f km  %d P %d S\n", kind_name(report.kind),
                e.time, e.lat, e.lon, e.depth, e.error.depth, e.p, e.s);
}

int main(int argc, char** argv) {
    if (argc != 3) return std::fprintf(stderr, "usage: associate GRID_FILE PICK_FILE\n"), 2;

    // Rules that differ from what follows from the grids, as in a parameter file.
    Parameters parameters;
    StreamRules rules;
    if (!parameters.parse("lateness = 30", "here") || !read_stream_rules(parameters, rules))
        return 1;

    GridSet grids;
    if (!grids.load({argv[1]}, parameters, 1)) return 1;  // the log has said why

    PickStream stream;
    PickStreamOptions options;
    options.paths = {argv[2]};
    options.lateness = rules.lateness;
    if (!stream.open(options)) return 1;

    Listener listener;
    listener.on_report = print;
    constexpr bool announce = false;
    Associator associator(grids, rules, listener, announce);
    PickStream::Next next;
    for (Pick pick; (next = stream.next(pick)) == PickStream::Next::pick;) {
        if (associator.add(std::move(pick)) == Added::failed) return 1;
    }
    if (next != PickStream::Next::end || !associator.finish()) return 1;

    const PickFates& fates = associator.fates();
    std::printf("%ld of %ld picks are in events\n", fates.in_events, fates.taken_in);
    return 0;
}
