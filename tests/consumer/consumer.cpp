// Uses the installed library from C++: reads parameters and gets a failure as a logged line.
#include <velorix.h>
#include <velorix_pvt.h>

#include <cstdio>
#include <memory>
#include <string>

#include "platform/elog/elog.h"
#include "platform/pf/pf.h"
#include "platform/share/share.h"

int main() {
    std::string logged;
    elog_set_hook([](int, int, const char* message,
                     void* user) { static_cast<std::string*>(user)->append(message); },
                  &logged);
    Tbl* grids = nullptr;
    const int read = velorix_read_file("/nonexistent/grid", &grids);
    elog_set_hook(nullptr, nullptr);

    Pf* pf = nullptr;
    int nx = 0;
    if (pfparse("nx = 7\n", "consumer", &pf) < 0) return 1;
    const int found = parse_param(pf, "nx", PF_INT, 1, &nx);
    pffree(pf);
    if (read != -1 || logged.find("/nonexistent/grid") == std::string::npos) return 1;
    if (found != 1 || nx != 7) return 1;
    std::puts(velorix_share_folder());
}
