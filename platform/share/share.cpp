#include "platform/share/share.h"

#include <cstdlib>

extern "C" const char* velorix_share_folder(void) {
    const char* given = std::getenv("VELORIX_SHARE");
    return given && *given ? given : VELORIX_SHARE_DIR;
}
