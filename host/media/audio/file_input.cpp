#include "media/audio/file_input.h"

#include "objects/log.h"

namespace kep::host {

namespace {

constexpr int kOpenLimitMilliseconds = 3000;
// A source that is later than this was held up: its time goes on from now instead of being caught up with.
constexpr std::chrono::milliseconds kHeldUp{200};

bool isDescribed(const AVFormatContext& input) {
    for (unsigned index = 0; index < input.nb_streams; ++index) {
        const AVCodecParameters& stream = *input.streams[index]->codecpar;
        if (stream.codec_id == AV_CODEC_ID_NONE || stream.sample_rate <= 0 ||
            stream.ch_layout.nb_channels <= 0)
            return false;
    }
    return input.nb_streams > 0;
}

}  // namespace

bool FileInput::open() {
    std::string reason;
    file_ = ByteFile::open(path_, reason);
    if (!file_) {
        KEP_HOST_ERROR("cannot open audio file " + path_ + ": " + reason);
        return false;
    }
    file_->limitWait(kOpenLimitMilliseconds);
    AVFormatContext* raw = avformat_alloc_context();
    raw->pb = file_->io();
    int result = avformat_open_input(&raw, path_.c_str(), nullptr, nullptr);
    InputPtr input(raw);
    // To look further than a header that says everything would hold back the first seconds of a pipe.
    if (result >= 0 && isDescribed(*input))
        input->probesize = 32;
    else if (result >= 0)
        result = avformat_find_stream_info(input.get(), nullptr);
    if (result < 0) reason = ffmpegError(result);
    const bool decodable = result >= 0 && decoder_.open(std::move(input), reason);
    if (file_->timedOut()) reason = "nothing comes out of it";
    if (!decodable || file_->timedOut()) {
        KEP_HOST_ERROR("cannot play audio file " + path_ + ": " + reason);
        return false;
    }
    file_->limitWait(-1);
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
