#ifndef VORNISA_TESTS_FRESH_PROCESS_H
#define VORNISA_TESTS_FRESH_PROCESS_H

#include <functional>

/**
 * Runs `body`, with its assertions, in a forked copy of this process, for tests of variables that the plug-in
 * never resets. The calling test fails when the body fails or takes more than a minute.
 */
void inFreshProcess(const std::function<void()>& body);

#endif
