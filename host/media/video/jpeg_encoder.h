#ifndef KEP_HOST_JPEG_ENCODER_H
#define KEP_HOST_JPEG_ENCODER_H

#include <cstdlib>
#include <memory>
#include <string>

#include "media/common/ffmpeg.h"

namespace kep::host {

/** A JPEG file in memory; `bytes` is null after a failure. */
struct JpegFile {
    struct Free {
        void operator()(unsigned char* memory) const { std::free(memory); }
    };
    std::unique_ptr<unsigned char, Free> bytes;
    unsigned long size = 0;
};

/**
 * Encodes planar YUV 4:2:0 of limited range and even size as JPEG, with libjpeg's quantisation tables for the
 * quality, in the colours that readers of JPEG files assume (JfifColours).
 *
 * @param quality 1 to 100
 * @param reason  receives the cause of a failure
 */
JpegFile encodeJpeg(const AVFrame& picture, int quality, std::string& reason);

}  // namespace kep::host

#endif
