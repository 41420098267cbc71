// Makes the compact table of the global source set from the thinned seismicity.
//
// usage: make_telegrid cells.txt telegrid.dat
#include <cstdio>
#include <exception>

#include "selection.h"

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: %s cells.txt telegrid.dat\n", argv[0]);
        return 1;
    }
    try {
        const auto cells = telegrid::cells_from_text(telegrid::read_file(argv[1]));
        telegrid::write_file(argv[2], telegrid::encode(telegrid::select_layers(cells)));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", argv[0], error.what());
        return 1;
    }
    return 0;
}
