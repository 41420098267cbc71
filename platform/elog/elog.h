#ifndef VELORIX_PLATFORM_ELOG_H
#define VELORIX_PLATFORM_ELOG_H
/** @file
 * Error log: every diagnostic of the system leaves through here.
 *
 * A line goes to standard error as "program: message". The message text stays as given, but that
 * control characters other than newline and tab, and bytes that are no UTF-8, become '?': messages
 * quote files of others. A missing newline at the end is added. With flag 1 a second line "program:
 * <system error text>" follows, from the value errno had on entry. Safe to call from several
 * threads: lines never mix.
 */
#ifdef __cplusplus
extern "C" {
#endif

/** Severity of a line, as a hook sees it. */
enum { ELOG_LOG = 0, ELOG_COMPLAIN = 1, ELOG_DIE = 2 };

/**
 * Names the program in every later line: the last path component of argv[0].
 * Without this call the name is "velorix". argc 0 or a null argv leaves the name as it is.
 */
void elog_init(int argc, char* const* argv);

/**
 * Logs a failure of an operation that returns it to its caller.
 * @param[in] flag   1: the failure is that of a system call, errno's text follows; 0: message alone
 * @param[in] format printf format of the message, ending in a newline by convention
 * @return 0 always, so that "return elog_log(...), -1" reads well; errno is left as it was
 */
int elog_log(int flag, const char* format, ...) __attribute__((format(printf, 2, 3)));

/** Logs a complaint: something is wrong but the work goes on. Arguments and result as elog_log. */
int elog_complain(int flag, const char* format, ...) __attribute__((format(printf, 2, 3)));

/** Logs a fatal error, flushes standard output and standard error and exits with status 1. */
void elog_die(int flag, const char* format, ...) __attribute__((format(printf, 2, 3), noreturn));

/**
 * Receives log lines instead of standard error.
 * @param severity ELOG_LOG, ELOG_COMPLAIN or ELOG_DIE
 * @param flag     the flag of the call
 * @param message  the formatted message, without program name or system error text
 * @param user     the pointer handed to elog_set_hook
 */
typedef void (*elog_hook)(int severity, int flag, const char* message, void* user);

/**
 * Installs a hook that captures every later line, for programs that embed the library and for
 * tests. A null hook restores standard error. elog_die still ends the process after the hook
 * returns. Set it before threads start logging.
 */
void elog_set_hook(elog_hook hook, void* user);

#ifdef __cplusplus
}
#endif
#endif
