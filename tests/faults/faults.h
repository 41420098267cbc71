#ifndef VELORIX_TESTS_FAULTS_H
#define VELORIX_TESTS_FAULTS_H
/* What the files of the library of faults share. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>

/* Whether VELORIX_FAULT names this kind, and the number behind it. */
int fault_is(const char* kind);
long fault_number(void);

/* The function of the C library behind the one of the same name here. POSIX, unlike C, lets dlsym
 * hand out functions. */
#pragma GCC diagnostic ignored "-Wpedantic"
#define REAL(function) ((__typeof__(function)*)dlsym(RTLD_NEXT, #function))

/* Counts a call of main and what it calls; true when it is the one that is to fail, errno is EIO.
 */
int io_fails(const char* function);
/* Calls so far, and the name of the one that failed, "-" before that. */
long io_calls(void);
const char* io_failed(void);
void io_begin(void);
void io_end(void);

#endif
