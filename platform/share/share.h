#ifndef VELORIX_PLATFORM_SHARE_H
#define VELORIX_PLATFORM_SHARE_H
/* The folder of files that come with the system: models, example parameter files. */
#ifdef __cplusplus
extern "C" {
#endif

/** The environment variable VELORIX_SHARE, else the folder chosen when the system was installed. */
const char* velorix_share_folder(void);

#ifdef __cplusplus
}
#endif
#endif
