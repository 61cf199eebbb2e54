#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstring>
#include <string>

#include "media/audio/speaker.h"
#include "objects/log.h"

namespace kep::host {

namespace {

static_assert(std::endian::native == std::endian::little,
              "header and samples are written in native byte order");

struct WavHeader {
    char riff[4] = {'R', 'I', 'F', 'F'};
    std::uint32_t fileBytes;  // from the next field to the end
    char wave[4] = {'W', 'A', 'V', 'E'};
    char fmt[4] = {'f', 'm', 't', ' '};
    std::uint32_t formatBytes = 16;
    std::uint16_t tag = 1;  // PCM
    std::uint16_t channels;
    std::uint32_t rate;
    std::uint32_t bytesPerSecond;
    std::uint16_t frameBytes;
    std::uint16_t sampleBits = 16;
    char data[4] = {'d', 'a', 't', 'a'};
    std::uint32_t dataBytes;
};
static_assert(sizeof(WavHeader) == 44);

/** Writes a WAV file without pacing; its header is valid after every write. */
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

WavSpeaker::~WavSpeaker() {
    if (file_ >= 0) ::close(file_);
}

bool WavSpeaker::open() {
    file_ = ::open(path_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NONBLOCK, 0644);
    if (file_ < 0) {
        KEP_HOST_ERROR("cannot write speaker file " + path_ + ": " + std::strerror(errno));
        return false;
    }
    return writeHeader();
}

bool WavSpeaker::write(const std::int16_t* samples, std::int64_t frames) {
    const std::size_t size = static_cast<std::size_t>(frames) * format_.frameBytes();
    if (!writeAt(sizeof(WavHeader) + written_, samples, size)) return false;
    written_ += size;
    return writeHeader();
}

bool WavSpeaker::writeAt(std::uint64_t offset, const void* data, std::size_t size) {
    const auto* bytes = static_cast<const char*>(data);
    while (size > 0) {
        const ssize_t done = pwrite(file_, bytes, size, static_cast<off_t>(offset));
        if (done < 0 && errno == EINTR) continue;
        if (done < 0) {
            KEP_HOST_ERROR("cannot write speaker file " + path_ + ": " + std::strerror(errno));
            return false;
        }
        bytes += done;
        size -= static_cast<std::size_t>(done);
        offset += static_cast<std::uint64_t>(done);
    }
    return true;
}

bool WavSpeaker::writeHeader() {
    // The size fields end at 4 GiB; players that read on play the samples beyond.
    constexpr std::uint64_t kMost = 0xffffffffu - sizeof(WavHeader);
    WavHeader header;
    header.dataBytes = static_cast<std::uint32_t>(std::min(written_, kMost));
    header.fileBytes = header.dataBytes + static_cast<std::uint32_t>(sizeof header) - 8;
    header.channels = static_cast<std::uint16_t>(format_.channels);
    header.rate = static_cast<std::uint32_t>(format_.rate);
    header.frameBytes = static_cast<std::uint16_t>(format_.frameBytes());
    header.bytesPerSecond = header.rate * header.frameBytes;
    return writeAt(0, &header, sizeof header);
}

}  // namespace

std::unique_ptr<Speaker> openSpeakerFile(const std::string& path, AudioFormat format) {
    auto speaker = std::make_unique<WavSpeaker>(path, format);
    if (!speaker->open()) return nullptr;
    return speaker;
}

}  // namespace kep::host
