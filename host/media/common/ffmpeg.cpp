#include "media/common/ffmpeg.h"

#include <mutex>

extern "C" {
#include <libavdevice/avdevice.h>
}

namespace kep::host {

std::string ffmpegError(int code) {
    char text[AV_ERROR_MAX_STRING_SIZE] = "";
    av_strerror(code, text, sizeof text);
    return text;
}

bool succeeded(int code, std::string& reason) {
    if (code < 0) reason = ffmpegError(code);
    return code >= 0;
}

void initFfmpeg() {
    static std::once_flag once;
    std::call_once(once, [] {
        av_log_set_level(AV_LOG_QUIET);
        avdevice_register_all();
    });
}

}  // namespace kep::host
