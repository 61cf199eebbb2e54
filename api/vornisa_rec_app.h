#ifndef VORNISA_REC_APP_H
#define VORNISA_REC_APP_H

#include <cstdint>
#include <string>

#include "vornisa_resolution.h"

namespace vornisa {

/** Settings of a recording application. A null text counts as empty. */
struct Recording {
    resolution_t size;
    std::string rateElement; /**< element that reduces the camera's frame rate before the encoder */
    const char* codec;
    const char* goptype;
    std::int64_t gop;
    std::int64_t bitrate;
    std::int64_t framerate;
    std::int64_t clock;
    std::string unique; /**< suffix of the name of the application's own video pipeline */
    int seconds;        /**< length of a file */
    const char* muxer;
    bool flush;
    std::string url;
    bool dbg;
};

/** The description of the application for `recording`. */
std::string describe(const Recording& recording);

/** The URL of a file. */
std::string fileUrl(const char* path, const char* name);

}  // namespace vornisa

#endif
