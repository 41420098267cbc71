#ifndef VELORIX_PLATFORM_SHARE_H
#define VELORIX_PLATFORM_SHARE_H
/** @file
 * The folder of files that come with the system: models, example parameter files.
 */
#ifdef __cplusplus
extern "C" {
#endif

/**
 * The environment variable VELORIX_SHARE; else share/velorix beside the folder of the running
 * program, where it exists (installed programs and the build tree); else the folder chosen when the
 * system was configured. The text stays valid until the variable changes.
 */
const char* velorix_share_folder(void);

#ifdef __cplusplus
}
#endif
#endif
