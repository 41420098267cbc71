// Uses the installed associator: reads picks and, with a grid file, finds their events.
//   associate [GRID_FILE PICK_FILE]
#include <velorixassoc.h>

#include <cstdio>

using namespace velorix::assoc;

static int events_in(const char* grid, const char* picks) {
    GridSet grids;
    PickStream stream;
    PickStreamOptions options;
    options.paths = {picks};
    if (!grids.load({grid}, Parameters(), 1) || !stream.open(options)) return -1;
    int events = 0;
    Listener listener;
    listener.on_report = [&](const Report& report) { events += report.kind == Kind::final; };
    Associator associator(grids, StreamRules(), listener);
    for (Pick pick; stream.next(pick) == PickStream::Next::pick;) {
        if (associator.add(std::move(pick)) == Added::failed) return -1;
    }
    return associator.finish() ? events : -1;
}

int main(int argc, char** argv) {
    std::string error;
    const auto reader = open_picks_in("station,phase,time\nIV.ARRO,P,12.5\n", "text", error);
    Pick pick;
    if (!reader || reader->next(pick, error) != ReadResult::pick) return 1;
    if (full_name(pick) != "IV.ARRO.." || label_of(pick.phase) != Label::p) return 1;
    std::printf("%d events\n", argc > 2 ? events_in(argv[1], argv[2]) : 0);
}
