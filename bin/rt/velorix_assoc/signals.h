#ifndef VELORIX_ASSOC_SIGNALS_H
#define VELORIX_ASSOC_SIGNALS_H
namespace velorix::assoc {

/// The shells' status of a program that a signal has ended: add the signal's number.
constexpr int kSignalled = 128;

/// From now on SIGINT and SIGTERM end the stream of picks where it stands; a second one ends the
/// program.
void catch_signals();

/// Number of the signal that has come; 0: none.
int interrupting_signal();

}  // namespace velorix::assoc
#endif
