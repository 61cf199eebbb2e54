#ifndef KEP_HOST_WAV_SPEAKER_H
#define KEP_HOST_WAV_SPEAKER_H

#include <string>

#include "media/audio/speaker.h"

namespace kep::host {

/** A WAV file, written as fast as it is fed; its header tells the truth after every write. */
class WavSpeaker final : public Speaker {
  public:
    WavSpeaker(std::string path, AudioFormat format) : path_(std::move(path)), format_(format) {}
    ~WavSpeaker() override;

    /** Creates or empties the file. False, with an error line, when that fails. */
    bool open();
    bool write(const std::int16_t* samples, std::int64_t frames) override;
    void playOut() override {}

  private:
    bool writeAt(std::uint64_t offset, const void* data, std::size_t size);
    bool writeHeader();

    const std::string path_;
    const AudioFormat format_;
    int file_ = -1;
    std::uint64_t written_ = 0;  // bytes of samples
};

}  // namespace kep::host

#endif
