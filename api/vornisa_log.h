#ifndef VORNISA_LOG_H
#define VORNISA_LOG_H

#include <chrono>
#include <cstdint>

#include "kep/ostream.h"

namespace vornisa {

/** Where the lines of a source file go. */
enum class Sink { debugStreams, standardOutput };

/** Kind of a line; selects stream and colour on the debug streams. */
enum class LineKind { error, timing, trace, information };

/** One log line, opened by its constructor, closed by end(). Only thread cancellation leaves its functions.
 */
class Line {
  public:
    Line(Sink sink, LineKind kind, const char* file, int line, const char* function);

    Line& operator<<(char character);
    Line& operator<<(int value);
    Line& operator<<(std::int64_t value);
    Line& operator<<(const void* pointer);
    /** A null text counts as empty. */
    Line& operator<<(const char* text);
    /** "true" or "false". */
    Line& operator<<(bool value);
    /** Whole milliseconds, followed by "ms". */
    Line& operator<<(std::chrono::steady_clock::time_point time);

    // Not a destructor, which would cost every line a landing pad for exceptions.
    void end();

  private:
    template <class Write>
    static void guarded(Write write);
    template <class T>
    Line& put(T item);

    kep::base::ostream* out_; /**< null for standard output */
};

inline Line& append(Line& line) {
    return line;
}

template <class First, class... Rest>
Line& append(Line& line, First first, Rest... rest) {
    return append(line << first, rest...);
}

/** Call in a catch handler: text of the exception. Rethrows a thread cancellation. */
const char* caughtException();

/** Code that all lines of a source file share, out of line instead of repeated at each of them. */
template <class Source>
struct Log {
    __attribute__((noinline)) static Line open(LineKind kind, int line, const char* function) {
        return Line(Source::sink, kind, Source::file(), line, function);
    }

    /** Writes the error line of a failed check and returns `code`. */
    __attribute__((noinline)) static int refuse(int line, const char* function, const char* text, int code) {
        (open(LineKind::error, line, function) << text).end();
        return code;
    }

    template <class... Items>
    static int refuse(int line, const char* function, const char* text, int code, Items... items) {
        Line out = open(LineKind::error, line, function);
        append(out << text, items...).end();
        return code;
    }

    /** Call in a catch handler: writes an error line that names the exception and returns `code`. */
    __attribute__((noinline, cold)) static int swallow(int line, const char* function, int code) {
        return refuse(line, function, "exception:", code, caughtException());
    }
};

}  // namespace vornisa

/** Once in each source file that writes lines: `VN_LOG_SINK(debugStreams);` */
#define VN_LOG_SINK(sinkOfSource)                                              \
    namespace {                                                                \
    struct VnSource {                                                          \
        static constexpr ::vornisa::Sink sink = ::vornisa::Sink::sinkOfSource; \
        static const char* file() { return __FILE__; }                         \
    };                                                                         \
    }                                                                          \
    using VnLog = ::vornisa::Log<VnSource>

/** Writes a line: `VN_LOG(trace, id << "," << bps);` */
// NOLINTNEXTLINE(bugprone-macro-parentheses): `items` is itself a chain of <<, which parentheses would end.
#define VN_LOG(kind, items) (VnLog::open(::vornisa::LineKind::kind, __LINE__, __func__) << items).end()

#endif
