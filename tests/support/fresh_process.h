#ifndef VORNISA_TESTS_FRESH_PROCESS_H
#define VORNISA_TESTS_FRESH_PROCESS_H

#include <functional>

/**
 * Runs `body`, with its assertions, in a copy of this process, so that what it leaves in variables that the
 * plug-in never clears goes with it. The calling test fails when the body does, or when it takes more than a
 * minute.
 */
void inFreshProcess(const std::function<void()>& body);

#endif
