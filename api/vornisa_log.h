#ifndef VORNISA_LOG_H
#define VORNISA_LOG_H

#include <chrono>
#include <cstdint>

#include "kep/ostream.h"

namespace vornisa {

/** Where the lines of a source file go. */
enum class Sink { debugStreams, standardOutput };

/** What a line says; on the debug streams it chooses stream and colour. */
enum class LineKind { error, timing, trace, information };

/** One log line on its way out: opened by its construction, ended by end(). */
class Line {
  public:
    Line(Sink sink, LineKind kind, const char* file, int line, const char* function);

    Line& operator<<(char character);
    Line& operator<<(int value);
    Line& operator<<(std::int64_t value);
    Line& operator<<(const void* pointer);
    Line& operator<<(const char* text);
    /** Whole milliseconds, and their unit. */
    Line& operator<<(std::chrono::steady_clock::time_point time);

    // Not left to a destructor, which would cost every line a landing pad for exceptions.
    void end();

  private:
    template <class Write>
    static void guarded(Write write);
    template <class T>
    Line& put(T item);

    Sink sink_;
    kep::base::ostream* out_;
};

}  // namespace vornisa

/** Once in each source file that writes lines: `VN_LOG_SINK(debugStreams);` */
#define VN_LOG_SINK(sink) static constexpr ::vornisa::Sink vnLogSink = ::vornisa::Sink::sink

/** Writes a line: `VN_LOG(trace, id << "," << bps);` */
#define VN_LOG(kind, items) \
    (::vornisa::Line(vnLogSink, ::vornisa::LineKind::kind, __FILE__, __LINE__, __func__) << items).end()

#endif
