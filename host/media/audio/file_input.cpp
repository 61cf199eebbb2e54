#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "media/audio/audio_input.h"
#include "media/audio/decoded_sound.h"
#include "media/common/looping_file.h"
#include "objects/log.h"

namespace kep::host {

namespace {

constexpr int kFirstBytesMilliseconds = 3000;
// Shorter than the microphone's open timeout.
constexpr std::chrono::seconds kOpenLimit(8);
// A source that is later than this has stalled: continue from now instead of catching up.
constexpr std::chrono::milliseconds kStalled{200};

constexpr const char* kNoData = "no data received";

/** Plays a file in an endless loop without a gap, or a named pipe to its end, in real time. */
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

FileInput::~FileInput() {
    if (pipe_ >= 0) ::close(pipe_);
}

bool FileInput::open() {
    struct stat status {};
    const bool isPipe = stat(path_.c_str(), &status) == 0 && S_ISFIFO(status.st_mode);
    std::string reason;
    MediaReader::Source source;
    if (!isPipe || openPipe(reason)) {
        openLimit_ = std::chrono::steady_clock::now() + kOpenLimit;
        source.url = isPipe ? "pipe:" + std::to_string(pipe_) : "file:" + path_;
        source.interrupt = {[](void* self) { return static_cast<FileInput*>(self)->isInterrupted() ? 1 : 0; },
                            this};
        file_ = LoopingFile::open(source, AVMEDIA_TYPE_AUDIO, !isPipe, nullptr, reason);
        if (!file_ && isInterrupted()) reason = kNoData;
        openLimit_ = SteadyTime::max();
    }
    if (!file_) {
        KEP_HOST_ERROR("cannot play audio file " + path_ + ": " + reason);
        return false;
    }
    sound_ = DecodedSound(file_->reader().codec());
    next_ = std::chrono::steady_clock::now();
    return true;
}

/** Opens the pipe non-blocking, so that libavformat polls its interrupt callback while the pipe is empty. */
bool FileInput::openPipe(std::string& reason) {
    pipe_ = ::open(path_.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    pollfd first{pipe_, POLLIN, 0};
    // Wait for data: without a writer a read would report the end of the pipe.
    const int ready = pipe_ < 0 ? -1 : poll(&first, 1, kFirstBytesMilliseconds);
    if (ready <= 0) reason = ready < 0 ? std::strerror(errno) : kNoData;
    return ready > 0;
}

bool FileInput::read(AudioBlock& block, SteadyTime& due) {
    std::string reason;
    const FramePtr frame = file_->next(reason);
    block.samples.clear();
    int result = 0;
    if (frame) result = sound_.append(*frame, block.samples);
    if (result < 0) reason = ffmpegError(result);
    if (!frame || result < 0) {
        if (!stopped_) KEP_HOST_ERROR("audio file " + path_ + (file_->hasEnded() ? " " : ": ") + reason);
        return false;
    }
    const SteadyTime now = std::chrono::steady_clock::now();
    const auto duration = format().duration(block.frames());
    if (now > next_ + duration + kStalled) next_ = now - duration;
    block.stamp = next_;
    due = next_ += duration;
    return true;
}

}  // namespace

std::unique_ptr<AudioInput> openSoundFile(const std::string& path, const std::atomic<bool>& stopped) {
    auto input = std::make_unique<FileInput>(path, stopped);
    if (!input->open()) return nullptr;
    return input;
}

}  // namespace kep::host
