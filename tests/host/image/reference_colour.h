#ifndef VORNISA_REFERENCE_COLOUR_H
#define VORNISA_REFERENCE_COLOUR_H

#include <array>
#include <cstdint>
#include <vector>

#include "picture/colours.h"

namespace kep::host {

/** What libswscale converts a colour to in a picture of this range and matrix. */
inline YuvColour referenceColour(const std::array<std::uint8_t, 3>& rgb, AVColorSpace colours,
                                 AVColorRange range) {
    constexpr int kSize = 16;
    const ScalerPtr scaler(sws_getContext(kSize, kSize, AV_PIX_FMT_RGB24, kSize, kSize, AV_PIX_FMT_YUV444P,
                                          SWS_ACCURATE_RND | SWS_POINT, nullptr, nullptr, nullptr));
    sws_setColorspaceDetails(scaler.get(), sws_getCoefficients(SWS_CS_DEFAULT), 1,
                             sws_getCoefficients(colours), range == AVCOL_RANGE_JPEG, 0, 1 << 16, 1 << 16);
    std::vector<std::uint8_t> from;
    for (int i = 0; i < kSize * kSize; ++i) from.insert(from.end(), rgb.begin(), rgb.end());
    std::vector<std::uint8_t> to(kSize * kSize * 3);
    const std::uint8_t* const source[] = {from.data()};
    const int sourceStride[] = {kSize * 3};
    std::uint8_t* const target[] = {to.data(), to.data() + kSize * kSize, to.data() + 2 * kSize * kSize};
    const int targetStride[] = {kSize, kSize, kSize};
    sws_scale(scaler.get(), source, sourceStride, 0, kSize, target, targetStride);
    return {to[0], to[kSize * kSize], to[2 * kSize * kSize]};
}

}  // namespace kep::host

#endif
