#ifndef VORNISA_REC_APP_H
#define VORNISA_REC_APP_H

#include <cstdint>
#include <string>

#include "vornisa_resolution.h"

namespace vornisa {

/** What may differ from one recording application to another. The texts may be null, which is empty. */
struct Recording {
    resolution_t size;
    std::string rateElement; /**< thins the camera's frames before the encoder */
    const char* codec;
    const char* goptype;
    std::int64_t gop;
    std::int64_t bitrate;
    std::int64_t framerate;
    std::int64_t clock;
    std::string unique; /**< ends the name of the application's own video pipeline */
    int seconds;        /**< of a file */
    const char* muxer;
    bool flush;
    std::string url;
    bool dbg;
};

/** The description of the application that carries out `recording`. */
std::string describe(const Recording& recording);

/** The URL of a file. */
std::string fileUrl(const char* path, const char* name);

}  // namespace vornisa

#endif
