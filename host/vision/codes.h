#ifndef KEP_HOST_CODES_H
#define KEP_HOST_CODES_H

#include <string>
#include <vector>

#include "kep/visibility.h"
#include "media/common/ffmpeg.h"

namespace kep::host {

/** A code in a picture. */
struct FoundCode {
    std::string text;             /**< in UTF-8 */
    std::string format;           /**< "QRCode", "DataMatrix", "Aztec", "MicroQRCode" */
    int left, top, right, bottom; /**< bounding box in pixels of the picture */
};

/** Finds the codes in a planar YUV picture. */
KEP_API std::vector<FoundCode> codesIn(const AVFrame& picture);

}  // namespace kep::host

#endif
