#ifndef KEP_HOST_FILE_INPUT_H
#define KEP_HOST_FILE_INPUT_H

#include <atomic>

#include "media/audio/audio_decoder.h"
#include "media/audio/audio_input.h"
#include "media/audio/byte_file.h"
#include "media/audio/pacer.h"

namespace kep::host {

/** The sound of a file, over and over without a gap, or of a named pipe until it ends, in real time. */
class FileInput final : public AudioInput {
  public:
    explicit FileInput(std::string path) : path_(std::move(path)) {}

    /** False, with an error line, when it cannot be played. */
    bool open();

    AudioFormat format() const override { return decoder_.format(); }
    bool read(AudioBlock& block) override;
    void interrupt() override;

  private:
    bool fill(std::size_t samples);
    bool endOfFile();

    const std::string path_;
    std::unique_ptr<ByteFile> file_;  // outlives the decoder that reads it
    AudioDecoder decoder_;
    std::vector<std::int16_t> decoded_;
    std::size_t position_ = 0;  // first of decoded_ not yet handed out
    bool heard_ = false;        // samples came since the file began
    SteadyTime next_;           // time of the sample that is due next
    Pacer pacer_;
    std::atomic<bool> interrupted_{false};
};

}  // namespace kep::host

#endif
