#ifndef VORNISA_CHECK_H
#define VORNISA_CHECK_H

#include "vornisa_api.h"
#include "vornisa_log.h"

/**
 * `VN_FAIL_IF(!id, VNRES_INVALID_ARG);` returns the result code when the condition holds, after an error line
 * that quotes the condition. Further arguments are appended to the line.
 */
#define VN_FAIL_IF(condition, ...) VN_FAIL_IF_SAYING(condition, #condition, __VA_ARGS__)

/** The same, with `text` in the line instead of the condition. */
#define VN_FAIL_IF_SAYING(condition, text, ...) VN_FAIL_IF_OF(__func__, condition, text, __VA_ARGS__)

/** The same, in code that several functions share: the line names `function`. */
#define VN_FAIL_IF_OF(function, condition, text, ...)                               \
    do {                                                                            \
        if (condition) return VnLog::refuse(__LINE__, function, text, __VA_ARGS__); \
    } while (false)

/** Ends a function-try-block: logs an exception and returns `result`. */
#define VN_END_WITH(result) VN_END_OF(__func__, result)

/** The same, in an internal function: the line names `function`, the exported one that it works for. */
#define VN_END_OF(function, result)                        \
    catch (...) {                                          \
        return VnLog::swallow(__LINE__, function, result); \
    }

#define VN_END VN_END_WITH(VNRES_FAIL)

#endif
