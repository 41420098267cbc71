#ifndef VELORIX_PLATFORM_PMTCOMP_H
#define VELORIX_PLATFORM_PMTCOMP_H
/** @file
 * Thread work splitting: a range of node numbers is cut into one piece per worker, and a callback
 * runs over the pieces at the same time. The workers are made once and wait between the runs.
 */
#include <pthread.h>
#include <stdint.h>

#include "platform/containers/containers.h"
#ifdef __cplusplus
extern "C" {
#endif

/**
 * Works on node numbers ioffset .. ioffset + number - 1; number may be 0.
 * @return 0 when the piece is done; anything else counts as a failure
 */
typedef int64_t (*pmtcomp_callback)(int32_t ioffset, int32_t number, void* user_data);

/** A group of workers. */
typedef struct Pmtcomp {
    pthread_mutex_t mutex;     ///< guards the group's state
    Tbl* threads;              ///< one record per worker, the service's own
    long quit;                 ///< non-zero: the workers are to end
    struct PmtcompPool* pool;  ///< the service's own
} Pmtcomp;

/** Most threads that VELORIX_THREADS may ask for. */
#define PMTCOMP_MOST_THREADS 4096

/**
 * How many threads work is to be split among when nobody says otherwise: the number in the
 * environment variable VELORIX_THREADS (1 .. PMTCOMP_MOST_THREADS) or, without it, the processors
 * that this process may run on.
 * @return 1 or more; -1 after a logged line when the variable holds anything else
 */
int pmtcomp_threads(void);

/**
 * Starts a group of workers.
 * @param[in] nthreads  number of workers, 1 or more
 * @param[in] callback  what each runs
 * @param[in] user_data [nthreads] handed to worker i's callback; copied, what it leads to is not
 * @param[in] nnodes    number of nodes, 0 or more; worker i's piece lies before worker i + 1's, and
 *                      pieces differ by at most one node
 * @return the group, or null after a logged line; release it with pmtcomp_free
 */
Pmtcomp* pmtcomp_new(int nthreads, pmtcomp_callback callback, void* const* user_data,
                     int32_t nnodes);

/**
 * Runs the callback on every worker and waits for all of them. A callback that fails or throws does
 * not stop the others. One run at a time: call it from one thread.
 * @return the number of workers whose callback returned 0; -1 without a group
 */
long pmtcomp_processthreads(Pmtcomp* group);

/** Ends the workers and releases the group. Null is fine. */
void pmtcomp_free(Pmtcomp* group);

#ifdef __cplusplus
}
#endif
#endif
