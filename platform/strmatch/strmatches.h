#ifndef VELORIX_PLATFORM_STRMATCHES_H
#define VELORIX_PLATFORM_STRMATCHES_H
/** @file
 * Pattern matching: extended regular expressions against whole texts, in the grammar of PCRE2 with
 * groups that capture nothing. What POSIX defines means the same, but for a backslash within
 * brackets, which quotes here, and for collating elements ([.x.], [=x=]), which are refused.
 */
#include "platform/containers/containers.h"
#ifdef __cplusplus
extern "C" {
#endif

/**
 * Whether a pattern matches the whole of a text ("BH" does not match "BHZ"; "BH." and "BH.*" do).
 * @param[in]     text    text to match
 * @param[in]     pattern extended regular expression, a byte a character; written out, its repeats
 *                        have to fit into 64 kB
 * @param[in,out] hook    keeps the compiled pattern; a null handle at first. The handle remembers
 *                        which pattern it was compiled from and compiles anew when another one
 *                        comes. Release it with freehook. A null address compiles for this call
 * only.
 * @return 1 match, 0 no match, -1 on a bad pattern, one that takes a million steps and more, or
 *         memory failure, after a logged line with the reason. Safe from any thread as long as two
 * threads do not share a handle.
 */
int strmatches(const char* text, const char* pattern, Hook** hook);

#ifdef __cplusplus
}
#endif
#endif
