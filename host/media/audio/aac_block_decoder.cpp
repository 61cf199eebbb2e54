#include "media/audio/aac_block_decoder.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "media/audio/adts.h"

namespace kep::host {
namespace {

constexpr std::size_t kBlockSamples = 1024;  // of each channel
/** Blocks of an ADTS unit, by the two bits of its header. Without the bound a damaged unit could need any
 * amount of memory. */
constexpr int kMostBlocks = 4;
/** Bytes; libswresample is several times slower at other addresses. */
constexpr std::uintptr_t kFastAlignment = 16;

/** Number of bytes before the first 0xff, with which every ADTS header begins. */
std::size_t bytesBeforeSync(std::span<const std::uint8_t> bytes) {
    const void* const ones = std::memchr(bytes.data(), 0xff, bytes.size());
    if (!ones) return bytes.size();
    return static_cast<std::size_t>(static_cast<const std::uint8_t*>(ones) - bytes.data());
}

}  // namespace

void AacBlockDecoder::use(const AacSettings& settings) {
    if (settings == settings_) return;
    settings_ = settings;
    codec_.reset();
    unit_.clear();
    samples_.clear();
    samplesOfUnit_ = kBlockSamples;
    channels_ = 0;
}

bool AacBlockDecoder::open(std::string& reason) {
    const AVCodec* const decoder = avcodec_find_decoder(AV_CODEC_ID_AAC);
    if (!decoder) {
        reason = "the FFmpeg libraries have no AAC decoder";
        return false;
    }
    CodecPtr codec(avcodec_alloc_context3(decoder));
    if (!codec) throw std::bad_alloc();
    if (!settings_.adts) {
        const std::vector<std::uint8_t> config = aacConfig(settings_.rate, settings_.channels);
        codec->extradata =
            static_cast<std::uint8_t*>(av_mallocz(config.size() + AV_INPUT_BUFFER_PADDING_SIZE));
        if (!codec->extradata) throw std::bad_alloc();
        codec->extradata_size = static_cast<int>(config.size());
        std::copy(config.begin(), config.end(), codec->extradata);
    }
    if (const int result = avcodec_open2(codec.get(), decoder, nullptr); result < 0) {
        reason = ffmpegError(result);
        return false;
    }
    codec_ = std::move(codec);
    return true;
}

bool AacBlockDecoder::hasRoom(std::size_t room, int channels, std::string& reason) const {
    // The last unit decoded is more reliable than a header: one coded channel may decode to two.
    const auto expected = static_cast<std::size_t>(channels_ > 0 ? channels_ : channels);
    const std::size_t block = samplesOfUnit_ * expected;
    const std::size_t samples = samples_.empty() ? block : std::min(block, samples_.size());
    const std::size_t needed = samples * sizeof(std::int16_t);
    if (room >= needed) return true;
    reason = "output buffer of " + std::to_string(room) + " bytes: the next samples take " +
             std::to_string(needed);
    return false;
}

bool AacBlockDecoder::decode(std::span<const std::uint8_t> in, std::span<std::uint8_t> out, BlockUse& used,
                             std::string& skipped, std::string& reason) {
    used = {};
    // Pending: a unit that was longer than the one before it may not have fitted into `out`.
    if (!samples_.empty()) {
        if (!hasRoom(out.size(), settings_.channels, reason)) return false;
        hand(out, used);
        // Return at once: a damaged bare unit would fail the call and lose these samples.
        if (!samples_.empty() || !settings_.adts) return true;
    }
    if (in.empty()) return true;
    return settings_.adts ? decodeStream(in, out, used, skipped, reason) : decodeBare(in, out, used, reason);
}

bool AacBlockDecoder::decodeBare(std::span<const std::uint8_t> in, std::span<std::uint8_t> out,
                                 BlockUse& used, std::string& reason) {
    if (!hasRoom(out.size(), settings_.channels, reason)) return false;
    unit_.assign(in.begin(), in.end());
    if (!decodeUnit(out, used, reason)) return false;
    used.taken = in.size();
    hand(out, used);
    return true;
}

bool AacBlockDecoder::decodeStream(std::span<const std::uint8_t> in, std::span<std::uint8_t> out,
                                   BlockUse& used, std::string& skipped, std::string& reason) {
    std::size_t passedOver = 0;
    std::string damaged;
    while (used.taken < in.size()) {
        if (unit_.empty()) {
            const std::size_t noise = bytesBeforeSync(in.subspan(used.taken));
            passedOver += noise;
            used.taken += noise;
        }
        const std::size_t wanted = bytesWanted();
        const std::size_t count = std::min(wanted - unit_.size(), in.size() - used.taken);
        const bool completes = wanted > AdtsHeader::kBytes && count == wanted - unit_.size();
        if (completes) {
            const int coded = AdtsHeader::read(unit_)->channels;
            if (!hasRoom(out.size() - used.written, coded > 0 ? coded : settings_.channels, reason)) {
                if (used.taken == 0 && used.written == 0) return false;
                break;
            }
        }
        const auto from = in.begin() + static_cast<std::ptrdiff_t>(used.taken);
        unit_.insert(unit_.end(), from, from + static_cast<std::ptrdiff_t>(count));
        used.taken += count;
        if (!completes) {
            passedOver += findHeader();
            continue;
        }
        if (!decodeUnit(out, used, damaged)) passedOver += wanted;
        hand(out, used);
    }
    if (passedOver > 0)
        skipped = std::to_string(passedOver) + " bytes that are not an access unit" +
                  (damaged.empty() ? "" : ": " + damaged);
    return true;
}

std::size_t AacBlockDecoder::findHeader() {
    // Checks a whole header, or the first two bytes of an incomplete one.
    const auto mayBegin = [this](std::size_t at) {
        const std::span<const std::uint8_t> rest = std::span(unit_).subspan(at);
        if (rest.size() >= AdtsHeader::kBytes) return AdtsHeader::read(rest).has_value();
        return rest[0] == 0xff && (rest.size() < 2 || (rest[1] & 0xf6) == 0xf0);
    };
    std::size_t begin = 0;
    while (begin < unit_.size() && !mayBegin(begin)) ++begin;
    unit_.erase(unit_.begin(), unit_.begin() + static_cast<std::ptrdiff_t>(begin));
    return begin;
}

std::size_t AacBlockDecoder::bytesWanted() const {
    if (unit_.size() < AdtsHeader::kBytes) return AdtsHeader::kBytes;
    return AdtsHeader::read(unit_)->unitBytes;
}

bool AacBlockDecoder::decodeUnit(std::span<std::uint8_t> out, BlockUse& used, std::string& reason) {
    const std::size_t size = unit_.size();
    unit_.resize(size + AV_INPUT_BUFFER_PADDING_SIZE);
    packet_->data = unit_.data();
    packet_->size = static_cast<int>(size);
    const bool decoded = decodePacket(out, used, reason);
    packet_->data = nullptr;
    packet_->size = 0;
    unit_.clear();
    return decoded;
}

bool AacBlockDecoder::decodePacket(std::span<std::uint8_t> out, BlockUse& used, std::string& reason) {
    if (!codec_ && !open(reason)) return false;
    int blocks = 0;
    bool hasFailed = false;
    int result = avcodec_send_packet(codec_.get(), packet_.get());
    while (result >= 0) {
        result = avcodec_receive_frame(codec_.get(), frame_.get());
        if (result < 0) break;
        if (blocks < kMostBlocks) {
            if (convertFrame(out, used, reason))
                ++blocks;
            else
                hasFailed = true;
        }
        av_frame_unref(frame_.get());
    }
    if (result != AVERROR(EAGAIN)) {
        hasFailed = true;
        reason = ffmpegError(result);
    }
    // Keep the samples of a unit that is damaged only at its end.
    return blocks > 0 || !hasFailed;
}

bool AacBlockDecoder::convertFrame(std::span<std::uint8_t> out, BlockUse& used, std::string& reason) {
    const int channels = frame_->ch_layout.nb_channels;
    if (channels != channels_ && !openConverter(channels, reason)) return false;
    const auto count = static_cast<std::size_t>(frame_->nb_samples);
    const std::size_t samples = count * static_cast<std::size_t>(channels);
    const std::size_t bytes = samples * sizeof(std::int16_t);
    std::uint8_t* target = out.data() + used.written;
    const bool fits = samples_.empty() && bytes <= out.size() - used.written &&
                      reinterpret_cast<std::uintptr_t>(target) % kFastAlignment == 0;
    const std::size_t kept = samples_.size();
    if (!fits) {
        samples_.resize(kept + samples);
        target = reinterpret_cast<std::uint8_t*>(samples_.data() + kept);
    }
    const auto** const planes = const_cast<const std::uint8_t**>(frame_->extended_data);
    const int result = swr_convert(converter_.get(), &target, frame_->nb_samples, planes, frame_->nb_samples);
    if (result < 0) {
        samples_.resize(kept);
        reason = ffmpegError(result);
        return false;
    }
    if (fits) used.written += bytes;
    samplesOfUnit_ = count;
    return true;
}

bool AacBlockDecoder::openConverter(int channels, std::string& reason) {
    channels_ = 0;
    // The layout does not matter, as the number and the order of the channels stay.
    AVChannelLayout layout{};
    layout.order = AV_CHANNEL_ORDER_UNSPEC;
    layout.nb_channels = channels;
    SwrContext* converter = nullptr;
    int result = swr_alloc_set_opts2(&converter, &layout, AV_SAMPLE_FMT_S16, settings_.rate, &layout,
                                     AV_SAMPLE_FMT_FLTP, settings_.rate, 0, nullptr);
    converter_.reset(converter);
    if (result >= 0) result = swr_init(converter);
    if (result < 0) {
        reason = ffmpegError(result);
        return false;
    }
    channels_ = channels;
    return true;
}

void AacBlockDecoder::hand(std::span<std::uint8_t> out, BlockUse& used) {
    if (samples_.empty()) return;
    const std::size_t room = (out.size() - used.written) / sizeof(std::int16_t);
    const std::size_t whole = room - room % static_cast<std::size_t>(std::max(channels_, 1));
    const std::size_t count = samples_.size() <= room ? samples_.size() : whole;
    if (count == 0) return;
    std::memcpy(out.data() + used.written, samples_.data(), count * sizeof(std::int16_t));
    used.written += count * sizeof(std::int16_t);
    samples_.erase(samples_.begin(), samples_.begin() + static_cast<std::ptrdiff_t>(count));
}

}  // namespace kep::host
