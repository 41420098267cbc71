/*
 * Loaded in front of the C library (LD_PRELOAD): makes calls of a program fail. VELORIX_FAULT says
 * which, "KIND N":
 *
 *   memory N   the N-th allocation and all later ones fail
 *   once N     the N-th allocation alone fails
 *   signal N   SIGTERM arrives at the N-th allocation
 *   write N    the N-th write to a file takes half, the next ones find the disk full
 *   fsync N, rename N   fail
 *   read N     every read gives at most N bytes, and every other one is interrupted first
 *   shrink N   a file that is mapped has N bytes left right afterwards
 *   io N       the N-th call that opens, reads, writes, seeks, looks at, maps, flushes, syncs,
 * renames or closes a file fails with EIO, once (io_faults.c)
 *
 * VELORIX_FAULT_COUNT names a file that receives the number of allocations, that of such calls, and
 * the name of the one that failed when the program ends.
 */
#include "faults.h"

#include <signal.h>
#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);

static char kind[16];
static long number;
static atomic_long allocations;

/* Allocations before main are those of the runtime and of libraries; they are not counted. */
static int (*program)(int, char**, char**);

static int begin(int argc, char** argv, char** environment) {
    const char* fault = getenv("VELORIX_FAULT");
    if (fault && sscanf(fault, "%15s %ld", kind, &number) != 2) abort();
    atomic_store(&allocations, 0);
    io_begin();
    return program(argc, argv, environment);
}

__attribute__((destructor)) static void end(void) {
    io_end();
    const char* path = getenv("VELORIX_FAULT_COUNT");
    FILE* file = path ? fopen(path, "w") : NULL;
    if (!file) return;
    fprintf(file, "%ld %ld %s\n", atomic_load(&allocations), io_calls(), io_failed());
    fclose(file);
}

int fault_is(const char* name) { return strcmp(kind, name) == 0; }
long fault_number(void) { return number; }

static int allocation_fails(void) {
    const long n = atomic_fetch_add(&allocations, 1) + 1;
    if (n == number && fault_is("signal")) raise(SIGTERM);
    if (!(fault_is("memory") && n >= number) && !(fault_is("once") && n == number)) return 0;
    errno = ENOMEM;
    return 1;
}

void* malloc(size_t size) { return allocation_fails() ? NULL : __libc_malloc(size); }
void* calloc(size_t count, size_t size) {
    return allocation_fails() ? NULL : __libc_calloc(count, size);
}
void* realloc(void* block, size_t size) {
    return allocation_fails() ? NULL : __libc_realloc(block, size);
}

int __libc_start_main(int (*main)(int, char**, char**), int argc, char** argv, void (*init)(void),
                      void (*fini)(void), void (*rtld_fini)(void), void* stack_end) {
    program = main;
    return REAL(__libc_start_main)(begin, argc, argv, init, fini, rtld_fini, stack_end);
}
