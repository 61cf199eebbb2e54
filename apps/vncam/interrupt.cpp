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
    // Without SA_RESTART, so that a waiting open() or read() returns.
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
}

bool stopRequested() {
    return stopFlag;
}

}  // namespace vncam
