#ifndef KEP_HOST_MEDIA_READER_H
#define KEP_HOST_MEDIA_READER_H

#include <memory>
#include <string>

#include "media/common/ffmpeg.h"

namespace kep::host {

/** Decodes video or audio of a file, pipe or capture device frame by frame. Used by one thread. */
class MediaReader {
  public:
    struct Source {
        std::string url;
        const char* format = nullptr; /**< name of a device's input format; null to probe a file */
        std::string options;          /**< of the input format: `name=value:name=value` */
        int flags = 0;                /**< AVFMT_FLAG_... */
        AVIOInterruptCB interrupt{nullptr, nullptr};
    };

    /** Opens the best stream of a kind. Null, with `reason` filled, when none can be decoded. */
    static std::unique_ptr<MediaReader> open(const Source& source, AVMediaType kind, std::string& reason);

    const AVStream& stream() const { return *stream_; }
    const AVCodecContext& codec() const { return *codec_; }

    /** Decodes the next frame, with its time in `best_effort_timestamp`. Otherwise AVERROR_EOF at the end,
     * AVERROR(EAGAIN) when a device has no data yet, or another error code. Damaged packets are skipped. */
    int read(AVFrame& frame);

    /** Seeks to the beginning, by time or by bytes; false when the input cannot. */
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
