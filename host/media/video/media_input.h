#ifndef KEP_HOST_MEDIA_INPUT_H
#define KEP_HOST_MEDIA_INPUT_H

#include <memory>
#include <string>

#include "media/video/picture_scaler.h"

namespace kep::host {

/** The pictures of a video file, a picture file or a capture device, decoded one after the other. */
class MediaInput {
  public:
    enum class Result { picture, end, failed };

    /**
     * @param url     what to open
     * @param format  format of a device; null finds out that of a file
     * @param options of the format, taken over; may be null
     * @param reason  why nothing was opened
     */
    static std::unique_ptr<MediaInput> open(const std::string& url, const AVInputFormat* format,
                                            AVDictionary* options, std::string& reason);

    /** Size of the pictures, brought down to even numbers. */
    int width() const { return codec_->width / 2 * 2; }
    int height() const { return codec_->height / 2 * 2; }
    AVColorSpace colours() const { return isRgb(codec_->pix_fmt) ? AVCOL_SPC_BT709 : codec_->colorspace; }
    /** Pictures in a second; 0 when the input does not say. */
    AVRational rate() const;
    /** What the time of a picture, `pts`, counts in. */
    AVRational timeBase() const { return stream_->time_base; }

    /** The next picture as planar YUV 4:2:0 with its time in `pts`, AV_NOPTS_VALUE if it has none. */
    Result read(FramePtr& picture, std::string& reason);

    /** Goes back to the beginning, found by its time or as the first byte; false when the input cannot. */
    bool rewind(bool byBytes);

  private:
    MediaInput() = default;
    bool openDecoder(int stream, std::string& reason);
    /** Feeds the decoder one packet, or tells it that there are no more. */
    bool feed(std::string& reason);
    FramePtr convert(FramePtr decoded);

    InputPtr input_;
    CodecPtr codec_;
    AVStream* stream_ = nullptr;
    PacketPtr packet_{av_packet_alloc()};
    PictureScaler scaler_;
    bool draining_ = false;
};

}  // namespace kep::host

#endif
