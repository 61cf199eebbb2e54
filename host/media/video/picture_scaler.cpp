#include "media/video/picture_scaler.h"

#include <utility>

extern "C" {
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
}

namespace kep::host {

namespace {

/** The plain format of a YUVJ format, whose name implies full range. */
AVPixelFormat withoutRange(AVPixelFormat format) {
    switch (format) {
        case AV_PIX_FMT_YUVJ420P:
            return AV_PIX_FMT_YUV420P;
        case AV_PIX_FMT_YUVJ422P:
            return AV_PIX_FMT_YUV422P;
        case AV_PIX_FMT_YUVJ444P:
            return AV_PIX_FMT_YUV444P;
        case AV_PIX_FMT_YUVJ440P:
            return AV_PIX_FMT_YUV440P;
        default:
            return format;
    }
}

}  // namespace

bool isRgb(AVPixelFormat format) {
    const AVPixFmtDescriptor* descriptor = av_pix_fmt_desc_get(format);
    return descriptor && (descriptor->flags & (AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL));
}

bool PictureScaler::prepare(const Job& job) {
    if (context_ && job == job_) return true;
    job_ = job;
    context_.reset(sws_alloc_context());
    if (!context_) return false;
    // libswscale chooses its routines by the ranges, so they must be set before it is initialised.
    const struct {
        const char* name;
        std::int64_t value;
    } options[] = {{"srcw", job.fromWidth},
                   {"srch", job.fromHeight},
                   {"src_format", withoutRange(job.format)},
                   {"src_range", job.fullRange},
                   {"dstw", job.width},
                   {"dsth", job.height},
                   {"dst_format", AV_PIX_FMT_YUV420P},
                   {"dst_range", 0},
                   {"sws_flags", SWS_BILINEAR}};
    for (const auto& option : options) av_opt_set_int(context_.get(), option.name, option.value, 0);
    if (sws_init_context(context_.get(), nullptr, nullptr) < 0) {
        context_.reset();
        return false;
    }
    if (isRgb(job.format)) {
        const int* matrix = sws_getCoefficients(SWS_CS_ITU709);
        sws_setColorspaceDetails(context_.get(), matrix, 1, matrix, 0, 0, 1 << 16, 1 << 16);
    }
    return true;
}

FramePtr PictureScaler::scale(const AVFrame& from, int width, int height) {
    const auto format = static_cast<AVPixelFormat>(from.format);
    const bool fullRange =
        from.color_range == AVCOL_RANGE_JPEG || format != withoutRange(format) || isRgb(format);
    FramePtr to = pool_.get(width, height);
    if (!to || !prepare({from.width, from.height, format, fullRange, width, height})) return nullptr;
    to->colorspace = isRgb(format) ? AVCOL_SPC_BT709 : from.colorspace;
    const int rows =
        sws_scale(context_.get(), from.data, from.linesize, 0, from.height, to->data, to->linesize);
    return rows > 0 ? std::move(to) : nullptr;
}

FramePtr PictureScaler::toPicture(FramePtr decoded, std::string& reason) {
    const int width = decoded->width / 2 * 2;
    const int height = decoded->height / 2 * 2;
    if (decoded->format == AV_PIX_FMT_YUV420P && decoded->color_range != AVCOL_RANGE_JPEG &&
        decoded->width == width && decoded->height == height)
        return decoded;
    FramePtr picture = scale(*decoded, width, height);
    if (picture)
        picture->pts = decoded->pts;
    else
        reason = "cannot convert its pictures to YUV 4:2:0";
    return picture;
}

}  // namespace kep::host
