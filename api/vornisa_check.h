#ifndef VORNISA_CHECK_H
#define VORNISA_CHECK_H

#include "vornisa_api.h"
#include "vornisa_log.h"

namespace vornisa {

inline Line& append(Line& line) {
    return line;
}

template <class First, class... Rest>
Line& append(Line& line, const First& first, const Rest&... rest) {
    return append(line << first, rest...);
}

/** A place in a source file. */
struct Site {
    Sink sink;
    const char* file;
    int line;
    const char* function;
};

/** Writes the error line of a failed check and gives back its result code. */
int refuse(const Site& site, const char* text, int code);

template <class First, class... Rest>
int refuse(const Site& site, const char* text, int code, const First& first, const Rest&... rest) {
    Line line(site.sink, LineKind::error, site.file, site.line, site.function);
    append(line << text, first, rest...).end();
    return code;
}

/** To be called in a handler: writes an error line that names the exception, and gives back `result`. */
int swallowException(const Site& site, int result);

}  // namespace vornisa

#define VN_SITE                                 \
    ::vornisa::Site {                           \
        vnLogSink, __FILE__, __LINE__, __func__ \
    }

/**
 * `VN_FAIL_IF(!id, VNRES_INVALID_ARG);` ends a function with a result code when the condition holds, after an
 * error line that quotes it. Further arguments are what the line says after the condition.
 */
#define VN_FAIL_IF(condition, ...) VN_FAIL_IF_SAYING(condition, #condition, __VA_ARGS__)

/** The same, with the text given where the line's is not the condition as it is written. */
#define VN_FAIL_IF_SAYING(condition, text, ...)                              \
    do {                                                                     \
        if (condition) return ::vornisa::refuse(VN_SITE, text, __VA_ARGS__); \
    } while (false)

/** After the body of a function that begins with `try`: no exception leaves it. */
#define VN_END_WITH(result)                                  \
    catch (...) {                                            \
        return ::vornisa::swallowException(VN_SITE, result); \
    }

#define VN_END VN_END_WITH(VNRES_FAIL)

#endif
