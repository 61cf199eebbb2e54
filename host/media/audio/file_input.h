#ifndef KEP_HOST_FILE_INPUT_H
#define KEP_HOST_FILE_INPUT_H

#include <string>

#include "media/audio/audio_input.h"
#include "media/audio/decoded_sound.h"
#include "media/common/looping_file.h"

namespace kep::host {

/** The sound of a file, over and over without a gap, or of a named pipe until it ends, in real time. */
class FileInput final : public AudioInput {
  public:
    FileInput(std::string path, const std::atomic<bool>& stopped)
        : path_(std::move(path)), stopped_(stopped) {}
    ~FileInput() override;

    /** False, with an error line, when it cannot be played. */
    bool open();

    AudioFormat format() const override { return sound_.format(); }
    bool read(AudioBlock& block, SteadyTime& due) override;

  private:
    bool openPipe(std::string& reason);
    bool isInterrupted() const { return stopped_ || std::chrono::steady_clock::now() > openLimit_; }

    const std::string path_;
    const std::atomic<bool>& stopped_;
    SteadyTime openLimit_ = SteadyTime::max();
    int pipe_ = -1;
    std::unique_ptr<LoopingFile> file_;
    DecodedSound sound_;
    SteadyTime next_;  // time of the sample that is due next
};

}  // namespace kep::host

#endif
