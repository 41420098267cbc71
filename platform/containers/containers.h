#ifndef VELORIX_PLATFORM_CONTAINERS_H
#define VELORIX_PLATFORM_CONTAINERS_H
/** @file
 * Lists and string-keyed maps of pointers, and the opaque state handle that a service keeps between
 * calls. None of them owns what its pointers lead to. Not synchronised: one thread at a time
 * writes.
 */
#ifdef __cplusplus
extern "C" {
#endif

typedef struct Tbl Tbl;    ///< ordered list of pointers
typedef struct Arr Arr;    ///< map from string to pointer, keys in byte order (strcmp) by default
typedef struct Hook Hook;  ///< state of a service, filled on first use and reused

/* ---- Lists ---- */

/** A new empty list with room for `size` entries (0 or less: a default). Null when memory fails. */
Tbl* newtbl(int size);
/** Entry i, or null when i is out of range or the list is null. */
void* gettbl(const Tbl* tbl, int i);
/**
 * Stores an entry. Index -1, or the number of entries, appends; an index beyond that fills the gap
 * with nulls.
 * @return the index stored at, or -1 (index below -1, or memory failed: list unchanged)
 */
int settbl(Tbl* tbl, int i, void* value);
/** Number of entries; 0 for a null list. */
int maxtbl(const Tbl* tbl);
/** Drops every entry and keeps the room, so that a list can be filled again without allocation. */
void clrtbl(Tbl* tbl);
/**
 * Stable sort of the entries.
 * @param tbl     the list
 * @param compare negative, 0 or positive as `a` sorts before, with or after `b`; it is handed the
 *                addresses of two entries, as qsort does, and `user`
 * @param user    handed to `compare`; may be null
 */
void sorttbl(Tbl* tbl, int (*compare)(const void* a, const void* b, void* user), void* user);
/** Releases a list; calls `release`, unless null, on every non-null entry. Null is fine. */
void freetbl(Tbl* tbl, void (*release)(void*));

/* ---- Maps ---- */

/** A new empty map; a null `compare` orders keys by strcmp. Null when memory fails. */
Arr* newarr(int (*compare)(const char* a, const char* b));
/** Value stored under `key`, or null when the key is absent or the map is null. */
void* getarr(const Arr* arr, const char* key);
/** Stores a value under a copy of `key`, replacing an earlier one. 0, or -1 when memory fails. */
int setarr(Arr* arr, const char* key, void* value);
/** Removes `key`; returns the value it had, or null. */
void* delarr(Arr* arr, const char* key);
/** Number of keys; 0 for a null map. */
int maxarr(const Arr* arr);
/**
 * The keys in the map's order, as a list of const char* that belong to the map (valid until the key
 * is removed or the map released). The caller releases the list with freetbl(list, 0).
 * Null when memory fails.
 */
Tbl* keysarr(const Arr* arr);
/** Releases a map; calls `release`, unless null, on every non-null value. Null is fine. */
void freearr(Arr* arr, void (*release)(void*));

/* ---- Service state ---- */

/** A handle that holds `state` and knows how to release it (`release` may be null). */
Hook* newhook(void* state, void (*release)(void*));
/** The state in a handle; null for a null handle. */
void* hookstate(const Hook* hook);
/** Releases the state and the handle, and sets the caller's pointer to null. */
void freehook(Hook** hook);

#ifdef __cplusplus
}
#endif
#endif
