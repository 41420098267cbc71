#ifndef VELORIX_PLATFORM_TIMECONV_H
#define VELORIX_PLATFORM_TIMECONV_H
/** @file
 * Time strings, epoch seconds and day numbers. UTC always; no dependence on locale or TZ.
 */
#ifdef __cplusplus
extern "C" {
#endif

/**
 * Epoch seconds of a time string.
 * Accepts ISO 8601 dates and date-times (YYYY-MM-DD or YYYYMMDD; hh:mm[:ss[.f]] or hhmm[ss[.f]]
 * after T or blanks, with or without Z), YYYY/MM/DD [hh:mm[:ss[.f]]], YYYYDDD and YYYY-DDD (day of
 * year) with an optional time, and epoch seconds (a number with 9 or more digits before the point).
 * Blanks around are ignored. 24:00 is the end of the day; a leap second 23:59:60 counts as the
 * second after it. Offsets from UTC are refused.
 * @return 0, or -1 when the text is anything else (`epoch` untouched, nothing logged)
 */
int zstr2epoch(const char* text, double* epoch);

/** The current time, epoch seconds. */
double std_now(void);

/**
 * Day number of an epoch time: year x 1000 + day of year (1 January is 1). Times beyond the years
 * -32767 .. 32767 give the first or last day of that range; not a number gives 0.
 */
long yearday(double epoch);

#ifdef __cplusplus
}
#endif
#endif
