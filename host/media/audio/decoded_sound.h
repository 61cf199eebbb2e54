#ifndef KEP_HOST_DECODED_SOUND_H
#define KEP_HOST_DECODED_SOUND_H

#include <vector>

#include "media/audio/audio_block.h"
#include "media/common/media_reader.h"

namespace kep::host {

/** Converts decoded sound to 16-bit samples at its own rate, in mono or mixed to stereo. */
class DecodedSound {
  public:
    DecodedSound() = default;
    explicit DecodedSound(const AVCodecContext& codec);

    AudioFormat format() const { return format_; }
    /** Appends a frame's samples; returns a negative FFmpeg error code when it cannot be converted. */
    int append(AVFrame& frame, std::vector<std::int16_t>& samples);

  private:
    AudioFormat format_;
    ResamplerPtr converter_;
};

}  // namespace kep::host

#endif
