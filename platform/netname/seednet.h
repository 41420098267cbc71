#ifndef VELORIX_PLATFORM_SEEDNET_H
#define VELORIX_PLATFORM_SEEDNET_H
/** @file
 * Network naming: the network and station code under which a station is registered. The table is
 * process-wide; load it before a search starts, it is only read afterwards.
 */
#ifdef __cplusplus
extern "C" {
#endif

/** Bytes of every code with its terminator. */
enum { SEEDNET_CODE_SIZE = 16 };

/**
 * Adds the stations of a table file. A file called *.affiliation, or whose every line stands in
 * its columns, is a CSS3.0 `affiliation` table (network in columns 1-8, station in columns 10-15,
 * a load date behind them); any other is text with the columns network,
 * station[, code] separated by blanks or commas, '#' starting a comment. `code` is the station's
 * registered code where it differs from its name. A station that comes again keeps its first entry,
 * as a station of several networks does.
 * @return the number of stations now known; -1 after a logged line with file and line number (the
 *         table is then as it was)
 */
int seednet_load(const char* path);

/** Forgets every station. */
void seednet_clear(void);

/**
 * Network and station code of a station. A name of the form NET_STA (a network of at most 8 capital
 * letters and digits), as stations have where networks share a code, tells both by itself.
 * @param[in]  sta     station name, 1 to 15 printable characters without blanks
 * @param[out] net     [SEEDNET_CODE_SIZE] its network, of the table or else of the name; "XX", the
 *                     code reserved for stations without a registered network, when neither tells
 * @param[out] seedsta [SEEDNET_CODE_SIZE] its registered code, or what stands behind NET_; `sta`
 *                     when neither table nor name tells
 * @return 0; -1 for an unusable name (outputs untouched, nothing logged)
 */
int seed_net(const char* sta, char* net, char* seedsta);

#ifdef __cplusplus
}
#endif
#endif
