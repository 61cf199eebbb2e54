#include "media/audio/file_input.h"

#include "core/log.h"

namespace kep::host {

namespace {

constexpr std::chrono::seconds kOpenLimit{5};
// A source that is later than this was held up: its time goes on from now instead of being caught up with.
constexpr std::chrono::milliseconds kHeldUp{200};

}  // namespace

bool FileInput::open() {
    std::string reason;
    file_ = ByteFile::open(path_, reason);
    if (!file_) {
        KEP_HOST_ERROR("cannot open audio file " + path_ + ": " + reason);
        return false;
    }
    file_->limitWait(kOpenLimit);
    AVFormatContext* raw = avformat_alloc_context();
    raw->pb = file_->io();
    int result = avformat_open_input(&raw, path_.c_str(), nullptr, nullptr);
    InputPtr input(raw);
    if (result >= 0) result = avformat_find_stream_info(input.get(), nullptr);
    if (result < 0) reason = ffmpegError(result);
    if (result < 0 || !decoder_.open(std::move(input), reason)) {
        KEP_HOST_ERROR("cannot play audio file " + path_ + ": " + reason);
        return false;
    }
    file_->dropWaitLimit();
    next_ = std::chrono::steady_clock::now();
    return true;
}

bool FileInput::read(AudioBlock& block) {
    const int frames = format().blockFrames();
    const std::size_t samples = static_cast<std::size_t>(frames) * format().channels;
    if (!fill(samples)) return false;

    const SteadyTime now = std::chrono::steady_clock::now();
    if (now > next_ + format().duration(frames) + kHeldUp) next_ = now - format().duration(frames);
    block.stamp = next_;
    const auto first = decoded_.begin() + static_cast<std::ptrdiff_t>(position_);
    block.samples.assign(first, first + static_cast<std::ptrdiff_t>(samples));
    position_ += samples;
    next_ += format().duration(frames);
    return pacer_.waitUntil(next_);
}

bool FileInput::fill(std::size_t samples) {
    while (decoded_.size() - position_ < samples) {
        decoded_.erase(decoded_.begin(), decoded_.begin() + static_cast<std::ptrdiff_t>(position_));
        position_ = 0;
        const std::size_t before = decoded_.size();
        const int result = decoder_.decode(decoded_);
        heard_ = heard_ || decoded_.size() > before;
        if (result >= 0) continue;
        if (interrupted_) return false;
        if (result != AVERROR_EOF) {
            KEP_HOST_ERROR("cannot read audio file " + path_ + ": " + ffmpegError(result));
            return false;
        }
        if (!endOfFile()) return false;
    }
    return true;
}

bool FileInput::endOfFile() {
    if (!file_->seekable())
        KEP_HOST_ERROR("audio file " + path_ + " has ended");
    else if (!heard_)
        KEP_HOST_ERROR("cannot play audio file " + path_ + ": there is no sound in it");
    else if (!decoder_.rewind())
        KEP_HOST_ERROR("cannot begin audio file " + path_ + " anew");
    else {
        heard_ = false;
        return true;
    }
    return false;
}

void FileInput::interrupt() {
    interrupted_ = true;
    file_->interrupt();
    pacer_.interrupt();
}

}  // namespace kep::host
