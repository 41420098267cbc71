#ifndef VELORIX_PLATFORM_TIMECONV_H
#define VELORIX_PLATFORM_TIMECONV_H
/* Time strings, epoch seconds and day numbers. UTC always; no dependence on locale or TZ. */
#ifdef __cplusplus
extern "C" {
#endif

/**
 * Epoch seconds of a time string.
 * Accepts ISO 8601 dates and date-times (with or without T, Z, fractions of a second),
 * YYYY/MM/DD [hh:mm[:ss[.f]]], YYYYDDD and YYYY-DDD (day of year) with an optional time, and epoch
 * seconds (a number with 9 or more digits before the point). Blanks around are ignored.
 * @return 0, or -1 when the text is anything else (`epoch` untouched, nothing logged)
 */
int zstr2epoch(const char* text, double* epoch);

/** The current time, epoch seconds. */
double std_now(void);

/** Day number of an epoch time: year x 1000 + day of year (1 January is 1). */
long yearday(double epoch);

#ifdef __cplusplus
}
#endif
#endif
