#include "vision/codes.h"

#include <algorithm>

#define ZX_USE_UTF8 1
#include <ZXing/ReadBarcode.h>

namespace kep::host {

std::vector<FoundCode> codesIn(const AVFrame& picture) {
    // Matrix codes only: fences and blinds give false positives for linear bar codes.
    static const ZXing::DecodeHints hints =
        ZXing::DecodeHints()
            .setFormats(ZXing::BarcodeFormat::QRCode | ZXing::BarcodeFormat::MicroQRCode |
                        ZXing::BarcodeFormat::DataMatrix | ZXing::BarcodeFormat::Aztec)
            .setTryHarder(true)
            .setTryRotate(true)
            .setTryDownscale(true);
    const ZXing::ImageView luma(picture.data[0], picture.width, picture.height, ZXing::ImageFormat::Lum,
                                picture.linesize[0]);
    std::vector<FoundCode> found;
    for (const ZXing::Result& result : ZXing::ReadBarcodes(luma, hints)) {
        if (!result.isValid()) continue;
        const auto& corners = result.position();
        const auto [left, right] = std::minmax({corners[0].x, corners[1].x, corners[2].x, corners[3].x});
        const auto [top, bottom] = std::minmax({corners[0].y, corners[1].y, corners[2].y, corners[3].y});
        found.push_back({result.text(), ZXing::ToString(result.format()), left, top, right, bottom});
    }
    return found;
}

}  // namespace kep::host
