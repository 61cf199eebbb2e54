#include "interrupt.h"

#include <atomic>
#include <csignal>

namespace vncam {
namespace {

std::atomic<bool> stopFlag{false};
static_assert(std::atomic<bool>::is_always_lock_free, "set in a signal handler");

void onStopSignal(int) {
    stopFlag = true;
}

}  // namespace

void installStopSignals() {
    struct sigaction action {};
    action.sa_handler = onStopSignal;
    // No SA_RESTART: a blocked open() or read() must return.
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    // The kernel and the shell may both send SIGHUP; under nohup it stays ignored.
    action.sa_flags = 0;
    struct sigaction before {};
    if (sigaction(SIGHUP, nullptr, &before) == 0 && before.sa_handler != SIG_IGN)
        sigaction(SIGHUP, &action, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
}

bool stopRequested() {
    return stopFlag;
}

}  // namespace vncam
