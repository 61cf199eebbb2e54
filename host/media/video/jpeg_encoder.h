#ifndef KEP_HOST_JPEG_ENCODER_H
#define KEP_HOST_JPEG_ENCODER_H

#include <cstdlib>
#include <memory>
#include <string>

#include "media/common/ffmpeg.h"

namespace kep::host {

/** A JPEG file in memory; without bytes when it could not be made. */
struct JpegFile {
    struct Free {
        void operator()(unsigned char* memory) const { std::free(memory); }
    };
    std::unique_ptr<unsigned char, Free> bytes;
    unsigned long size = 0;
};

/**
 * Makes a JPEG file out of planar YUV 4:2:0 of limited range and even size, with the quantisation tables that
 * libjpeg gives a quality, in the colours that readers of such a file expect.
 *
 * @param quality 1 to 100
 * @param reason  receives the cause when no file could be made
 */
JpegFile encodeJpeg(const AVFrame& picture, int quality, std::string& reason);

}  // namespace kep::host

#endif
