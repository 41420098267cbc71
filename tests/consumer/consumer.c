/* Uses the installed library from C: a grid record, its defaults, a list and the log. */
#include <stdio.h>
#include <string.h>
#include <velorix.h>

#include "platform/elog/elog.h"
#include "platform/geodesy/geodesy.h"
#include "platform/share/share.h"

static void keep(int severity, int flag, const char* message, void* user) {
    (void)severity;
    (void)flag;
    strncpy((char*)user, message, 63);
}

int main(void) {
    char logged[64] = "";
    double delta = 0.0;
    Velorix* grid = velorix_new();
    elog_set_hook(keep, logged);
    elog_log(0, "from %s\n", "C");
    elog_set_hook(0, 0);
    dist(0.0, 0.0, 0.0, 1.0, &delta, 0);
    if (!grid || grid->magic != VELORIX_MAGIC || strcmp(logged, "from C\n") != 0 || delta != 1.0)
        return 1;
    velorix_free(grid);
    printf("%s\n", velorix_share_folder());
    return 0;
}
