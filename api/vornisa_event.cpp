#include "vornisa_event.h"

#include <time.h>

#include <chrono>

namespace vornisa {

std::int64_t eventTime() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

std::string eventUrl() {
    const time_t now = time(nullptr);
    tm local = {};
    tzset();  // localtime_r, unlike localtime, need not do so
    localtime_r(&now, &local);
    char url[64];
    strftime(url, sizeof(url), "file://EVT_%Y-%m-%d_%H-%M-%S.mp4", &local);
    return url;
}

}  // namespace vornisa
