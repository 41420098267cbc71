#include "signals.h"

#include <csignal>

namespace velorix::assoc {
namespace {

volatile std::sig_atomic_t received = 0;  // number of the signal
void receive(int signal) { received = signal; }

}  // namespace

void catch_signals() {
    struct sigaction action {};
    action.sa_handler = receive;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

int interrupting_signal() { return received; }

}  // namespace velorix::assoc
