#include "wav.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include "command.h"

namespace vncam {
namespace {

constexpr std::uint16_t kFormatPcm = 1;
constexpr std::uint16_t kFormatFloat = 3;
constexpr std::uint16_t kFormatExtensible = 0xFFFE;
constexpr std::uint32_t kBasicFormatBytes = 16;
constexpr std::uint32_t kExtensibleFormatBytes = 40;
constexpr int kMaxChannels = 8;

std::uint16_t little16(const unsigned char* bytes) {
    return static_cast<std::uint16_t>(bytes[0] | bytes[1] << 8);
}

std::uint32_t little32(const unsigned char* bytes) {
    return little16(bytes) | static_cast<std::uint32_t>(little16(bytes + 2)) << 16;
}

std::string formatName(std::uint16_t format) {
    if (format == kFormatPcm) return "PCM";
    if (format == kFormatFloat) return "floating point";
    return "format " + std::to_string(format);
}

}  // namespace

void WavReader::CloseFile::operator()(std::FILE* file) const {
    if (file != stdin) std::fclose(file);
}

WavReader::WavReader(const std::string& path) : name_(path == "-" ? "standard input" : path) {
    file_.reset(path == "-" ? stdin : std::fopen(path.c_str(), "rbe"));
    if (!file_) throw Failure(name_ + ": cannot open: " + std::strerror(errno));
    readHeader();
    checkLength();
}

std::vector<char> WavReader::read(std::size_t frames) {
    std::uint64_t wanted = frames * frameBytes();
    if (!endless_) wanted = std::min(wanted, dataBytes_ - readBytes_);
    std::vector<char> samples(wanted);
    const std::size_t got = std::fread(samples.data(), 1, wanted, file_.get());
    // A read interrupted by a stop signal ends playback.
    const bool stopped = std::ferror(file_.get()) && errno == EINTR;
    if (std::ferror(file_.get()) && !stopped) fail(std::string("cannot read: ") + std::strerror(errno));
    if (got < wanted && !endless_ && !stopped) failCutShort(readBytes_ + got);
    readBytes_ += got;
    samples.resize(got - got % frameBytes());
    return samples;
}

void WavReader::readHeader() {
    std::array<unsigned char, 12> head{};
    if (std::fread(head.data(), 1, head.size(), file_.get()) != head.size() ||
        std::memcmp(head.data(), "RIFF", 4) != 0 || std::memcmp(head.data() + 8, "WAVE", 4) != 0) {
        if (std::ferror(file_.get())) fail(std::string("cannot read: ") + std::strerror(errno));
        fail("not a WAV file");
    }
    for (;;) {
        std::array<unsigned char, 8> chunk{};
        readExactly(chunk.data(), chunk.size(), channels_ ? "the samples" : "the format");
        const std::uint32_t size = little32(chunk.data() + 4);
        if (std::memcmp(chunk.data(), "fmt ", 4) == 0) {
            readFormat(size);
        } else if (std::memcmp(chunk.data(), "data", 4) == 0) {
            if (!channels_) fail("samples precede the format chunk");
            endless_ = size == 0xFFFFFFFF;
            dataBytes_ = endless_ ? 0 : size - size % frameBytes();
            return;
        } else {
            skip(std::uint64_t{size} + size % 2);
        }
    }
}

void WavReader::readFormat(std::uint32_t size) {
    std::array<unsigned char, kExtensibleFormatBytes> bytes{};
    if (size < kBasicFormatBytes) fail("format chunk too short");
    const std::uint32_t used = std::min(size, kExtensibleFormatBytes);
    readExactly(bytes.data(), used, "the format");
    skip(std::uint64_t{size} - used + size % 2);

    std::uint16_t format = little16(bytes.data());
    // The extensible form carries the plain format's number at the front of an identifier.
    if (format == kFormatExtensible && size >= kExtensibleFormatBytes) format = little16(bytes.data() + 24);
    const int bits = little16(bytes.data() + 14);
    if (format != kFormatPcm || bits != 16)
        fail("samples are " + std::to_string(bits) + "-bit " + formatName(format) + ", not 16-bit PCM");
    channels_ = little16(bytes.data() + 2);
    if (channels_ < 1 || channels_ > kMaxChannels)
        fail(std::to_string(channels_) + " channels, not 1 to " + std::to_string(kMaxChannels));
    const std::uint32_t rate = little32(bytes.data() + 4);
    if (rate < 1 || rate > 384000) fail("sample rate " + std::to_string(rate) + " Hz, not 1 to 384000");
    rate_ = static_cast<int>(rate);
}

void WavReader::checkLength() {
    struct stat status {};
    const long here = std::ftell(file_.get());
    if (endless_ || here < 0 || fstat(fileno(file_.get()), &status) != 0 || !S_ISREG(status.st_mode)) return;
    const std::uint64_t there = static_cast<std::uint64_t>(std::max<long>(0, status.st_size - here));
    if (there < dataBytes_) failCutShort(there);
}

void WavReader::readExactly(void* target, std::size_t size, const char* what) {
    if (std::fread(target, 1, size, file_.get()) != size) fail(std::string("ends before ") + what);
}

void WavReader::skip(std::uint64_t size) {
    std::array<char, 4096> rest;
    while (size > 0) {
        const std::size_t part = std::min<std::uint64_t>(size, rest.size());
        readExactly(rest.data(), part, channels_ ? "the samples" : "the format");
        size -= part;
    }
}

void WavReader::failCutShort(std::uint64_t there) const {
    fail("cut short: " + std::to_string(dataBytes_) + " bytes of samples declared, " + std::to_string(there) +
         " present");
}

void WavReader::fail(const std::string& why) const {
    throw Failure(name_ + ": " + why);
}

}  // namespace vncam
