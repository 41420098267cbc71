/*
 * Calls that touch files, which fail as VELORIX_FAULT says. Streams of stdio do their system calls
 * inside the C library, where nothing can be put in front of them: their own calls fail instead,
 * with the mark of an error on the stream. Standard error is left alone, so that messages are seen.
 */
#include "faults.h"

#include <dirent.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

static atomic_int in_main;
static atomic_long calls;
static atomic_long writes;
static atomic_long reads;
static const char* failed = "-";

void io_begin(void) { atomic_store(&in_main, 1); }
void io_end(void) { atomic_store(&in_main, 0); }
long io_calls(void) { return atomic_load(&calls); }
const char* io_failed(void) { return failed; }

int io_fails(const char* function) {
    if (!atomic_load(&in_main)) return 0;
    const long n = atomic_fetch_add(&calls, 1) + 1;
    if (n != fault_number() || !fault_is("io")) return 0;
    failed = function;
    errno = EIO;
    return 1;
}

static int fd_fails(int fd, const char* function) {
    return fd != STDERR_FILENO && io_fails(function);
}

/* As the C library marks a stream whose system call has failed. */
static int stream_fails(FILE* stream, const char* function) {
    if (stream == stderr || !io_fails(function)) return 0;
    stream->_flags |= 0x20; /* _IO_ERR_SEEN */
    return 1;
}

/* Functions that have a twin for 64-bit offsets. The parentheses keep macros of the same name away.
 */
/* NOLINTBEGIN(bugprone-macro-parentheses): what the macro puts together are declarations. */
#define WRAP(result, name, parameters, fails, otherwise, arguments) \
    result(name) parameters {                                       \
        if (fails) return otherwise;                                \
        return REAL(name) arguments;                                \
    }

/* NOLINTEND(bugprone-macro-parentheses) */

/* ---- Opening and looking at files ---- */

static mode_t mode_of(int flags, va_list list) {
    return flags & (O_CREAT | O_TMPFILE) ? va_arg(list, mode_t) : 0;
}
#define OPEN(name)                                \
    int name(const char* path, int flags, ...) {  \
        if (io_fails(#name)) return -1;           \
        va_list list;                             \
        va_start(list, flags);                    \
        const mode_t mode = mode_of(flags, list); \
        va_end(list);                             \
        return REAL(name)(path, flags, mode);     \
    }
OPEN(open)
OPEN(open64)
int __open_2(const char* path, int flags) { return open(path, flags); }
int __open64_2(const char* path, int flags) { return open64(path, flags); }

WRAP(FILE*, fopen, (const char* path, const char* mode), io_fails("fopen"), NULL, (path, mode))
WRAP(FILE*, fopen64, (const char* path, const char* mode), io_fails("fopen"), NULL, (path, mode))
WRAP(DIR*, opendir, (const char* path), io_fails("opendir"), NULL, (path))
WRAP(struct dirent*, readdir, (DIR * folder), io_fails("readdir"), NULL, (folder))
WRAP(struct dirent64*, readdir64, (DIR * folder), io_fails("readdir"), NULL, (folder))
WRAP(int, stat, (const char* path, struct stat* out), io_fails("stat"), -1, (path, out))
WRAP(int, stat64, (const char* path, struct stat64* out), io_fails("stat"), -1, (path, out))
WRAP(int, lstat, (const char* path, struct stat* out), io_fails("lstat"), -1, (path, out))
WRAP(int, lstat64, (const char* path, struct stat64* out), io_fails("lstat"), -1, (path, out))
WRAP(int, fstat, (int fd, struct stat* out), fd_fails(fd, "fstat"), -1, (fd, out))
WRAP(int, fstat64, (int fd, struct stat64* out), fd_fails(fd, "fstat"), -1, (fd, out))
WRAP(int, fstatat, (int fd, const char* path, struct stat* out, int flags), io_fails("fstatat"), -1,
     (fd, path, out, flags))
WRAP(int, fstatat64, (int fd, const char* path, struct stat64* out, int flags), io_fails("fstatat"),
     -1, (fd, path, out, flags))
WRAP(int, access, (const char* path, int mode), io_fails("access"), -1, (path, mode))

/* ---- Reading ---- */

/* "read N": every read gives at most N bytes, and every other one is interrupted first. */
static ssize_t read_piecewise(int fd, void* data, size_t size) {
    if (atomic_fetch_add(&reads, 1) % 2 == 0) {
        errno = EINTR;
        return -1;
    }
    const size_t most = (size_t)fault_number();
    return REAL(read)(fd, data, size < most ? size : most);
}

ssize_t read(int fd, void* data, size_t size) {
    if (fault_is("read")) return read_piecewise(fd, data, size);
    if (fd_fails(fd, "read")) return -1;
    return REAL(read)(fd, data, size);
}
ssize_t __read_chk(int fd, void* data, size_t size, size_t room) {
    if (size > room) abort();
    return read(fd, data, size);
}
WRAP(ssize_t, readv, (int fd, const struct iovec* parts, int count), fd_fails(fd, "readv"), -1,
     (fd, parts, count))
WRAP(ssize_t, pread, (int fd, void* data, size_t size, off_t at), fd_fails(fd, "pread"), -1,
     (fd, data, size, at))
WRAP(ssize_t, pread64, (int fd, void* data, size_t size, off64_t at), fd_fails(fd, "pread"), -1,
     (fd, data, size, at))
ssize_t __pread64_chk(int fd, void* data, size_t size, off64_t at, size_t room) {
    if (size > room) abort();
    return pread64(fd, data, size, at);
}
WRAP(size_t, fread, (void* data, size_t size, size_t count, FILE* stream),
     stream_fails(stream, "fread"), 0, (data, size, count, stream))
WRAP(char*, fgets, (char* text, int size, FILE* stream), stream_fails(stream, "fgets"), NULL,
     (text, size, stream))
WRAP(ssize_t, getline, (char** line, size_t* size, FILE* stream), stream_fails(stream, "getline"),
     -1, (line, size, stream))
WRAP(int, getc, (FILE * stream), stream_fails(stream, "getc"), EOF, (stream))
WRAP(int, fgetc, (FILE * stream), stream_fails(stream, "fgetc"), EOF, (stream))

/* ---- Writing ---- */

/* "write N": the N-th write to a file takes half, the next ones find the disk full. */
static ssize_t write_until_full(int fd, const void* data, size_t size) {
    const long n = atomic_fetch_add(&writes, 1) + 1;
    if (n == fault_number() && size > 1) return REAL(write)(fd, data, size / 2);
    if (n < fault_number()) return REAL(write)(fd, data, size);
    errno = ENOSPC;
    return -1;
}

ssize_t write(int fd, const void* data, size_t size) {
    if (fd > STDERR_FILENO && fault_is("write")) return write_until_full(fd, data, size);
    if (fd_fails(fd, "write")) return -1;
    return REAL(write)(fd, data, size);
}
WRAP(ssize_t, writev, (int fd, const struct iovec* parts, int count), fd_fails(fd, "writev"), -1,
     (fd, parts, count))
WRAP(ssize_t, pwrite, (int fd, const void* data, size_t size, off_t at), fd_fails(fd, "pwrite"), -1,
     (fd, data, size, at))
WRAP(ssize_t, pwrite64, (int fd, const void* data, size_t size, off64_t at), fd_fails(fd, "pwrite"),
     -1, (fd, data, size, at))
WRAP(size_t, fwrite, (const void* data, size_t size, size_t count, FILE* stream),
     stream_fails(stream, "fwrite"), 0, (data, size, count, stream))
WRAP(int, fputs, (const char* text, FILE* stream), stream_fails(stream, "fputs"), EOF,
     (text, stream))
WRAP(int, fputc, (int c, FILE* stream), stream_fails(stream, "fputc"), EOF, (c, stream))
WRAP(int, putc, (int c, FILE* stream), stream_fails(stream, "putc"), EOF, (c, stream))
WRAP(int, putchar, (int c), stream_fails(stdout, "putchar"), EOF, (c))
WRAP(int, puts, (const char* text), stream_fails(stdout, "puts"), EOF, (text))
WRAP(int, vfprintf, (FILE * stream, const char* format, va_list list),
     stream_fails(stream, "vfprintf"), -1, (stream, format, list))
int fprintf(FILE* stream, const char* format, ...) {
    va_list list;
    va_start(list, format);
    const int written = vfprintf(stream, format, list);
    va_end(list);
    return written;
}
int printf(const char* format, ...) {
    va_list list;
    va_start(list, format);
    const int written = vfprintf(stdout, format, list);
    va_end(list);
    return written;
}

/* ---- Seeking, finishing, mapping ---- */

WRAP(off_t, lseek, (int fd, off_t by, int from), fd_fails(fd, "lseek"), -1, (fd, by, from))
WRAP(off64_t, lseek64, (int fd, off64_t by, int from), fd_fails(fd, "lseek"), -1, (fd, by, from))
WRAP(int, fseek, (FILE * stream, long by, int from), stream_fails(stream, "fseek"), -1,
     (stream, by, from))
WRAP(int, fseeko, (FILE * stream, off_t by, int from), stream_fails(stream, "fseeko"), -1,
     (stream, by, from))
WRAP(int, fseeko64, (FILE * stream, off64_t by, int from), stream_fails(stream, "fseeko"), -1,
     (stream, by, from))
WRAP(int, ftruncate, (int fd, off_t size), fd_fails(fd, "ftruncate"), -1, (fd, size))
WRAP(int, ftruncate64, (int fd, off64_t size), fd_fails(fd, "ftruncate"), -1, (fd, size))
WRAP(int, fdatasync, (int fd), fd_fails(fd, "fdatasync"), -1, (fd))
WRAP(int, fflush, (FILE * stream), stream&& stream_fails(stream, "fflush"), EOF, (stream))

int fsync(int fd) {
    if (fault_is("fsync")) {
        errno = EIO;
        return -1;
    }
    return fd_fails(fd, "fsync") ? -1 : REAL(fsync)(fd);
}

int rename(const char* from, const char* to) {
    if (fault_is("rename")) {
        errno = EACCES;
        return -1;
    }
    return io_fails("rename") ? -1 : REAL(rename)(from, to);
}

/* What is closed is closed, whatever it says. */
int close(int fd) {
    const int fails = fd_fails(fd, "close");
    const int closed = REAL(close)(fd);
    if (fails) errno = EIO;
    return fails ? -1 : closed;
}
int fclose(FILE* stream) {
    const int fails = stream != stderr && io_fails("fclose");
    const int closed = REAL(fclose)(stream);
    if (fails) errno = EIO;
    return fails ? EOF : closed;
}

static void* map(void* (*real)(void*, size_t, int, int, int, off_t), void* place, size_t size,
                 int protection, int flags, int fd, off_t offset) {
    if (fd >= 0 && io_fails("mmap")) return MAP_FAILED;
    void* mapped = real(place, size, protection, flags, fd, offset);
    if (fault_is("shrink") && fd >= 0) {
        char path[64];
        snprintf(path, sizeof path, "/proc/self/fd/%d", fd);
        if (truncate(path, fault_number()) != 0) abort();
    }
    return mapped;
}
void* mmap(void* place, size_t size, int protection, int flags, int fd, off_t offset) {
    return map(REAL(mmap), place, size, protection, flags, fd, offset);
}
void* mmap64(void* place, size_t size, int protection, int flags, int fd, off64_t offset) {
    return map(REAL(mmap64), place, size, protection, flags, fd, offset);
}
