#ifndef KEP_TESTS_WAIT_UNTIL_H
#define KEP_TESTS_WAIT_UNTIL_H

#include <chrono>
#include <functional>
#include <thread>

/** Waits until `met` returns true; false after a minute. */
inline bool waitUntil(const std::function<bool()>& met) {
    const auto limit = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (!met()) {
        if (std::chrono::steady_clock::now() > limit) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

#endif
