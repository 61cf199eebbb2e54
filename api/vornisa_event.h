#ifndef VORNISA_EVENT_H
#define VORNISA_EVENT_H

#include <cstdint>
#include <string>

#include "vornisa_log.h"

namespace vornisa {

/** The current time in milliseconds of the steady clock, which the framework uses for events. */
std::int64_t eventTime();

/** The default URL of an event's file: named after the local time, without a folder. */
std::string eventUrl();

/** The same, and logs the URL with `SourceLog`. */
template <class SourceLog>
std::string createFileName(int line) {
    std::string url = eventUrl();
    (SourceLog::open(LineKind::information, line, __func__) << url.c_str()).end();
    return url;
}

}  // namespace vornisa

#endif
