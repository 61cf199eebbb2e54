#ifndef KEP_HOST_H264_ENCODER_H
#define KEP_HOST_H264_ENCODER_H

#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "media/common/ffmpeg.h"

namespace kep::host {

struct H264Settings {
    int width;
    int height;
    AVRational rate; /**< pictures in a second */
    int bitRate;     /**< bits in a second */
    AVColorSpace colours;
};

/** Encodes pictures one in, one access unit out, as a byte stream with parameter sets before each key frame.
 */
class H264Encoder {
  public:
    static constexpr const char* defaultEncoder = "libx264";

    /** Null, with `reason` filled, when there is no such encoder or it refuses the settings. */
    static std::unique_ptr<H264Encoder> open(const H264Settings& settings, std::string& reason,
                                             const char* encoder = defaultEncoder);

    /** Whether it makes what the settings say. At another bit rate the past would weigh on the first seconds,
     * unless there is hardly any. */
    bool fits(const H264Settings& settings) const;

    /** Takes effect with the next picture. */
    void setBitRate(int bitsPerSecond);

    /** The access unit of one picture; null, with `reason` filled, when the encoder fails. */
    PacketPtr encode(const AVFrame& picture, bool key, std::string& reason);

  private:
    H264Encoder(CodecPtr codec, const H264Settings& settings)
        : settings_(settings), codec_(std::move(codec)), frame_(av_frame_alloc()) {}

    H264Settings settings_;
    CodecPtr codec_;
    FramePtr frame_;
    std::int64_t count_ = 0;
};

/**
 * Encoders of streams that have stopped, for the next ones: to set one up takes longer than to encode a
 * picture. It holds one each for the sizes that a stream is usually switched between.
 */
class EncoderShelf {
  public:
    ~EncoderShelf();

    /** An encoder that fits the settings, set to their bit rate; null when there is none. */
    std::unique_ptr<H264Encoder> take(const H264Settings& settings);
    void put(std::unique_ptr<H264Encoder> encoder);
    /** Has an encoder set up and tried on a picture, on a thread of its own, unless one has been asked for or
     * prepared before. */
    void prepare(const H264Settings& settings, std::shared_ptr<const AVFrame> picture);
    bool isPreparing();
    /** Frees what is there and what is put from here on. */
    void close();

  private:
    std::mutex mutex_;
    std::vector<std::unique_ptr<H264Encoder>> encoders_;
    bool open_ = true;
    bool asked_ = false;
    std::thread preparing_;
};

}  // namespace kep::host

#endif
