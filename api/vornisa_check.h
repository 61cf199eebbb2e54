#ifndef VORNISA_CHECK_H
#define VORNISA_CHECK_H

#include "vornisa_api.h"
#include "vornisa_log.h"

/**
 * `VN_FAIL_IF(!id, VNRES_INVALID_ARG);` ends a function with a result code when the condition holds, after an
 * error line that quotes it. Further arguments are what the line says after the condition.
 */
#define VN_FAIL_IF(condition, ...) VN_FAIL_IF_SAYING(condition, #condition, __VA_ARGS__)

/** The same, with the text given where the line's is not the condition as it is written. */
#define VN_FAIL_IF_SAYING(condition, text, ...) VN_FAIL_IF_OF(__func__, condition, text, __VA_ARGS__)

/** The same, in a body that several functions share: `function` is the one that the line names. */
#define VN_FAIL_IF_OF(function, condition, text, ...)                               \
    do {                                                                            \
        if (condition) return VnLog::refuse(__LINE__, function, text, __VA_ARGS__); \
    } while (false)

/** After the body of a function that begins with `try`: no exception leaves it. */
#define VN_END_WITH(result) VN_END_OF(__func__, result)

/** The same, where the line names another `function`: the exported one on whose behalf this one runs. */
#define VN_END_OF(function, result)                        \
    catch (...) {                                          \
        return VnLog::swallow(__LINE__, function, result); \
    }

#define VN_END VN_END_WITH(VNRES_FAIL)

#endif
