#ifndef VORNISA_EVENT_H
#define VORNISA_EVENT_H

#include <cstdint>
#include <string>

#include "vornisa_log.h"

namespace vornisa {

/** Now, in milliseconds of the steady clock, as the framework expects the time of an event. */
std::int64_t eventTime();

/** The URL of an event's file that was given none: of the local time, without a folder. */
std::string eventUrl();

/** The same, with a line of the source whose Log it is. */
template <class SourceLog>
std::string createFileName(int line) {
    std::string url = eventUrl();
    (SourceLog::open(LineKind::information, line, __func__) << url.c_str()).end();
    return url;
}

}  // namespace vornisa

#endif
