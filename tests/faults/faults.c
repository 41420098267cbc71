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
 *
 * VELORIX_FAULT_COUNT names a file that receives the number of allocations when the program ends.
 */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <signal.h>
#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);

static char kind[16];
static long number;
static atomic_long allocations;
static atomic_long writes;
static atomic_long reads;

/* Allocations before main are those of the runtime and of libraries; they are not counted. */
static int (*program)(int, char**, char**);

static int begin(int argc, char** argv, char** environment) {
    const char* fault = getenv("VELORIX_FAULT");
    if (fault && sscanf(fault, "%15s %ld", kind, &number) != 2) abort();
    atomic_store(&allocations, 0);
    return program(argc, argv, environment);
}

__attribute__((destructor)) static void end(void) {
    const char* path = getenv("VELORIX_FAULT_COUNT");
    FILE* file = path ? fopen(path, "w") : NULL;
    if (!file) return;
    fprintf(file, "%ld\n", atomic_load(&allocations));
    fclose(file);
}

static int is(const char* name) { return strcmp(kind, name) == 0; }

static int allocation_fails(void) {
    const long n = atomic_fetch_add(&allocations, 1) + 1;
    if (n == number && is("signal")) raise(SIGTERM);
    if (!(is("memory") && n >= number) && !(is("once") && n == number)) return 0;
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

/* The function of the C library behind the one of the same name here. POSIX, unlike C, lets dlsym
 * hand out functions. */
#pragma GCC diagnostic ignored "-Wpedantic"
#define REAL(function) ((__typeof__(function)*)dlsym(RTLD_NEXT, #function))

int __libc_start_main(int (*main)(int, char**, char**), int argc, char** argv, void (*init)(void),
                      void (*fini)(void), void (*rtld_fini)(void), void* stack_end) {
    program = main;
    return REAL(__libc_start_main)(begin, argc, argv, init, fini, rtld_fini, stack_end);
}

ssize_t write(int fd, const void* data, size_t size) {
    if (fd <= STDERR_FILENO || !is("write")) return REAL(write)(fd, data, size);
    const long n = atomic_fetch_add(&writes, 1) + 1;
    if (n == number && size > 1) return REAL(write)(fd, data, size / 2);
    if (n < number) return REAL(write)(fd, data, size);
    errno = ENOSPC;
    return -1;
}

ssize_t read(int fd, void* data, size_t size) {
    if (!is("read")) return REAL(read)(fd, data, size);
    if (atomic_fetch_add(&reads, 1) % 2 == 0) {
        errno = EINTR;
        return -1;
    }
    return REAL(read)(fd, data, size < (size_t)number ? size : (size_t)number);
}

int fsync(int fd) {
    if (!is("fsync")) return REAL(fsync)(fd);
    errno = EIO;
    return -1;
}

int rename(const char* from, const char* to) {
    if (!is("rename")) return REAL(rename)(from, to);
    errno = EACCES;
    return -1;
}

void* mmap(void* place, size_t size, int protection, int flags, int fd, off_t offset) {
    void* mapped = REAL(mmap)(place, size, protection, flags, fd, offset);
    if (is("shrink") && fd >= 0) {
        char path[64];
        snprintf(path, sizeof path, "/proc/self/fd/%d", fd);
        if (truncate(path, number) != 0) abort();
    }
    return mapped;
}
