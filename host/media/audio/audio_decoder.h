#ifndef KEP_HOST_AUDIO_DECODER_H
#define KEP_HOST_AUDIO_DECODER_H

#include <cstdint>
#include <string>
#include <vector>

#include "media/audio/audio_block.h"
#include "media/common/ffmpeg.h"

namespace kep::host {

/** Decodes the sound of an opened file or device to 16-bit samples of its own rate, mono or mixed to stereo.
 */
class AudioDecoder {
  public:
    /** False, with the cause in `reason`, when there is no sound in it or no decoder for it. */
    bool open(InputPtr input, std::string& reason);

    AudioFormat format() const { return format_; }
    /**
     * Appends the samples of the next piece, perhaps none. 0, or AVERROR(EAGAIN) when a device has nothing
     * yet, AVERROR_EOF at the end, another code when reading failed. Damaged pieces are passed over.
     */
    int decode(std::vector<std::int16_t>& samples);
    /** Microseconds of the wall clock at which the newest piece of a device began; AV_NOPTS_VALUE without. */
    std::int64_t wallTime() const { return wallTime_; }
    bool rewind();

  private:
    bool prepareConversion(const AVFrame& frame);
    bool append(const AVFrame& frame, std::vector<std::int16_t>& samples);

    InputPtr input_;
    CodecPtr codec_;
    ResamplerPtr converter_;
    PacketPtr packet_{av_packet_alloc()};
    FramePtr frame_{av_frame_alloc()};
    AudioFormat format_;
    AudioFormat decodedFormat_{0, 0};
    int decodedSamples_ = -1;  // the sample format of the last frame
    int stream_ = 0;
    std::int64_t wallTime_ = AV_NOPTS_VALUE;
};

}  // namespace kep::host

#endif
