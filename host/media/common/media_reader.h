#ifndef KEP_HOST_MEDIA_READER_H
#define KEP_HOST_MEDIA_READER_H

#include <memory>
#include <string>

#include "media/common/ffmpeg.h"

namespace kep::host {

/** The pictures or the sound of a file, a pipe or a capture device, decoded frame by frame. Used by one
 * thread. */
class MediaReader {
  public:
    struct Source {
        std::string url;
        const char* format = nullptr; /**< of a device, as libavdevice names it; null to probe a file */
        std::string options;          /**< of the format: `name=value:name=value` */
        int flags = 0;                /**< AVFMT_FLAG_... */
        AVIOInterruptCB interrupt{nullptr, nullptr};
    };

    /** Opens the best stream of a kind. Null, with `reason` filled, when there is none that decodes. */
    static std::unique_ptr<MediaReader> open(const Source& source, AVMediaType kind, std::string& reason);

    const AVStream& stream() const { return *stream_; }
    const AVCodecContext& codec() const { return *codec_; }

    /** Decodes the next frame, its time in `best_effort_timestamp`. Otherwise AVERROR_EOF, AVERROR(EAGAIN)
     * for a device that has nothing yet, or why it cannot be read. Damaged packets are skipped. */
    int read(AVFrame& frame);

    /** Goes back to the beginning, found by its time or as the first byte; false when the input cannot. */
    bool rewind(bool byBytes);

  private:
    MediaReader() = default;
    bool openDecoder(AVMediaType kind, std::string& reason);

    InputPtr input_;
    CodecPtr codec_;
    AVStream* stream_ = nullptr;
    PacketPtr packet_{av_packet_alloc()};
};

}  // namespace kep::host

#endif
