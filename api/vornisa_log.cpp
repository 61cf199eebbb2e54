#include "vornisa_log.h"

#include <exception>
#include <iostream>
#include <string>

#include "kep/debug_line.h"

namespace vornisa {
namespace {

/** std::cout behind the framework's stream interface. Numbers come out in decimal whatever the program set it
 * to. */
class StandardOutput final : public kep::base::ostream {
  public:
    kep::base::ostream& operator<<(char character) override { return put(character); }
    kep::base::ostream& operator<<(int value) override { return put(std::to_string(value)); }
    kep::base::ostream& operator<<(std::int64_t value) override { return put(std::to_string(value)); }
    kep::base::ostream& operator<<(const void* pointer) override { return put(pointer); }
    kep::base::ostream& operator<<(const char* text) override { return put(text); }

  private:
    template <class T>
    kep::base::ostream& put(const T& item) {
        std::cout << item;
        return *this;
    }
};

struct Style {
    int stream;
    char colour[6];
};

const Style styles[] = {{8, "\033[31m"}, {12, "\033[32m"}, {28, "\033[35m"}, {29, "\033[36m"}};

}  // namespace

// A line never fails the call that writes it, so what a stream throws ends here. The cancellation of the
// thread, which is no std::exception, passes.
template <class Write>
void Line::guarded(Write write) {
    try {
        write();
    } catch (const std::exception&) {
    }
}

template <class T>
Line& Line::put(T item) {
    guarded([=] { *out_ << item; });
    return *this;
}

Line::Line(Sink sink, LineKind kind, const char* file, int line, const char* function) : sink_(sink) {
    if (sink == Sink::standardOutput) {
        static StandardOutput standardOutput;
        out_ = &standardOutput;
        guarded([=] { *out_ << file << "/" << line << ":" << function << ":"; });
    } else {
        const Style& style = styles[static_cast<int>(kind)];
        out_ = kep::stream::__dbg_couts[style.stream];
        guarded([=] { kep::stream::BeginDebugLine(style.stream, style.colour, file, line, function); });
    }
}

Line& Line::operator<<(char character) {
    return put(character);
}
Line& Line::operator<<(int value) {
    return put(value);
}
Line& Line::operator<<(std::int64_t value) {
    return put(value);
}
Line& Line::operator<<(const void* pointer) {
    return put(pointer);
}
Line& Line::operator<<(const char* text) {
    return put(text);
}

Line& Line::operator<<(std::chrono::steady_clock::time_point time) {
    using std::chrono::nanoseconds;
    const std::int64_t count = std::chrono::duration_cast<nanoseconds>(time.time_since_epoch()).count();
    return put(count / 1000000).put("ms");
}

void Line::end() {
    guarded([=] {
        if (sink_ == Sink::standardOutput)
            std::cout << std::endl;
        else
            kep::stream::EndDebugLine(*out_);
    });
}

}  // namespace vornisa
