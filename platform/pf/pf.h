#ifndef VELORIX_PLATFORM_PF_H
#define VELORIX_PLATFORM_PF_H
/** @file
 * Parameter files: TOML 1.0 (https://toml.io/en/v1.0.0). A table is a node; typed look-ups accept
 * what a person would write for the kind and log a precise line (file, line, column, key, what was
 * expected) for anything else.
 */
#include "platform/containers/containers.h"
#ifdef __cplusplus
extern "C" {
#endif

typedef struct Pf Pf;  ///< a node of a parsed parameter file

/** Kinds of parse_param and the type of its `out` argument. */
enum {
    PF_INT = 1,      ///< int*: an integer, or a numeric string with an integral value in range
    PF_DOUBLE = 3,   ///< double*: a number, or a numeric string (whole text, C locale)
    PF_STRING = 4,   ///< char**: any scalar in its usual text form; release it with free()
    PF_LIST = 6,     ///< Tbl** of char*: array of scalars, a number alone, or a multi-line string
                     ///< (one entry per non-blank line, trimmed, '#' lines dropped); release:
                     ///< freetbl(list, free)
    PF_ARRAY = 10,   ///< Pf**: a table; belongs to its parent node
    PF_BOOLEAN = 11  ///< int*: true/false, 0/1, and the strings yes/no, on/off, true/false, 0/1
};

/**
 * Reads the parameter file called `name`: the file of that name, else name.toml, in the current
 * folder, then in each folder of the environment variable VELORIX_PFPATH (colon-separated), then in
 * the installed share folder. A name with a slash is looked up as given only (with and without
 * .toml).
 * @param[in]  name file name
 * @param[out] pf the root node; release it with pffree
 * @return 0; -1 after a logged line that says what is wrong and where
 */
int pfread(const char* name, Pf** pf);

/** As pfread, from `text` (NUL-terminated); `label` stands for the file name in messages. */
int pfparse(const char* text, const char* label, Pf** pf);

/**
 * Looks up one key.
 * @param[in]  pf       the node
 * @param[in]  key      its key
 * @param[in]  kind     one of the kinds above
 * @param[in]  required non-zero: an absent key is a failure
 * @param[out] out      untouched when the key is absent and not required
 * @return 1 found, 0 absent and not required, -1 absent but required, wrong type or out of memory
 *         (a line naming file, line, column, key and what was expected is logged)
 */
int parse_param(Pf* pf, const char* key, int kind, int required, void* out);

/** Sets `key` of a node to a string, replacing what it held. 0, or -1 when memory fails. */
int pfput_string(Pf* pf, const char* key, const char* value);

/**
 * The keys of a node, for keysarr and getarr: every key maps to a non-null pointer (the child node
 * for a table, a marker otherwise). The map belongs to the node and follows pfput_string.
 */
Arr* pfarr(Pf* pf);

/**
 * Complains, once per key, about keys of a node that nobody reads: "file:line: unknown key 'x' in
 * <where>, did you mean 'y'?". The suggestion is the closest known key within a small edit
 * distance.
 * @param[in] pf     the node
 * @param[in] where  what it is, for the message
 * @param[in] known  key names that are read
 * @param[in] nknown their number
 * @return the number of unknown keys
 */
int pf_complain_unknown(Pf* pf, const char* where, const char* const* known, int nknown);

/** Releases a tree by its root node, null included. Child nodes belong to their root. */
void pffree(Pf* pf);

#ifdef __cplusplus
}
#endif
#endif
