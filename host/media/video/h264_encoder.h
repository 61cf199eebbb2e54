#ifndef KEP_HOST_H264_ENCODER_H
#define KEP_HOST_H264_ENCODER_H

#include <memory>
#include <string>
#include <utility>

#include "media/common/ffmpeg.h"

namespace kep::host {

struct H264Settings {
    int width;
    int height;
    AVRational rate; /**< pictures per second */
    int bitRate;     /**< bits per second */
    AVColorSpace colours;
};

/** Encodes pictures one in, one access unit out, as a byte stream with parameter sets before each key frame.
 */
class H264Encoder {
  public:
    static constexpr const char* defaultEncoder = "libx264";
    /** Bits per second: the least that still shows a small picture, and more than any picture needs. */
    static constexpr int kLowestBitRate = 10'000;
    static constexpr int kHighestBitRate = 200'000'000;

    /** Null, with `reason` filled, when there is no such encoder or it refuses the settings. */
    static std::unique_ptr<H264Encoder> open(const H264Settings& settings, std::string& reason,
                                             const char* encoder = defaultEncoder);

    /** Takes effect with the next picture. */
    void setBitRate(int bitsPerSecond);

    /** The access unit of one picture; null, with `reason` filled, when the encoder fails. */
    PacketPtr encode(const AVFrame& picture, bool key, std::string& reason);

  private:
    explicit H264Encoder(CodecPtr codec) : codec_(std::move(codec)), frame_(av_frame_alloc()) {}

    CodecPtr codec_;
    FramePtr frame_;
    std::int64_t count_ = 0;
};

}  // namespace kep::host

#endif
