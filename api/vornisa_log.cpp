#include "vornisa_log.h"

#include <cxxabi.h>

#include <exception>
#include <iostream>
#include <string>

#include "kep/debug_line.h"

namespace vornisa {
namespace {

struct Style {
    int stream;
    char colour[6];
};

const Style styles[] = {{8, "\033[31m"}, {12, "\033[32m"}, {28, "\033[35m"}, {29, "\033[36m"}};

}  // namespace

// Discards every exception of a stream, as logging must not fail its caller, but rethrows a thread
// cancellation. The handler of a cancellation gets a null reference, which a sanitizer reports; inlined, the
// function would be instrumented despite the attribute.
template <class Write>
__attribute__((noinline, no_sanitize("null"))) void Line::guarded(Write write) {
    try {
        write();
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (...) {
    }
}

template <class T>
Line& Line::put(T item) {
    guarded([=] {
        if (out_) {
            *out_ << item;
        } else {
            // The framework's formatting, whatever flags the program has set on std::cout.
            std::string text;
            kep::base::ostream_string(text) << item;
            std::cout << text;
        }
    });
    return *this;
}

Line::Line(Sink sink, LineKind kind, const char* file, int line, const char* function) : out_(nullptr) {
    if (sink == Sink::standardOutput) {
        *this << file << "/" << line << ":" << function << ":";
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
// The framework prints the address and does not dereference it.
Line& Line::operator<<(const void* pointer) {
    return put(const_cast<void*>(pointer));
}
Line& Line::operator<<(const char* text) {
    return put(text ? text : "");
}
Line& Line::operator<<(bool value) {
    return put(value ? "true" : "false");
}

Line& Line::operator<<(std::chrono::steady_clock::time_point time) {
    using std::chrono::nanoseconds;
    const std::int64_t count = std::chrono::duration_cast<nanoseconds>(time.time_since_epoch()).count();
    return put(count / 1000000).put("ms");
}

void Line::end() {
    guarded([=] {
        if (out_)
            kep::stream::EndDebugLine(*out_);
        else
            std::cout << std::endl;
    });
}

// The handler of a cancellation gets a null reference, which a sanitizer reports.
__attribute__((no_sanitize("null"))) const char* caughtException() {
    try {
        throw;
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (const std::exception& exception) {
        return exception.what();  // valid as long as the caller's handler runs
    } catch (...) {
        return "unknown";
    }
}

}  // namespace vornisa
