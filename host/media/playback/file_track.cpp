#include "media/playback/file_track.h"

#include <algorithm>

#include "media/audio/adts.h"
#include "media/playback/annex_b.h"

namespace kep::host {
namespace {

using recordings::Mp4Packet;
using recordings::Mp4Track;

std::shared_ptr<Media> picturesOf(const Mp4Track& track, std::string& reason) {
    auto media = std::make_shared<Media>();
    media->kind = Media::Kind::video;
    media->codec = AV_CODEC_ID_H264;
    media->width = track.width;
    media->height = track.height;
    media->parameters = parameterSetsOf(track.settings);
    reason = "its parameter sets are missing or damaged";
    return media->parameters.empty() ? nullptr : media;
}

/** Reads from the AudioSpecificConfig (ISO/IEC 14496-3, 1.6.2.1) what an ADTS header can express. */
std::shared_ptr<Media> soundOf(const Mp4Track& track, std::string& reason) {
    constexpr unsigned kLowComplexity = 2;
    // These two extend AAC-LC; a decoder without the extension plays the AAC-LC core.
    constexpr unsigned kBandReplication = 5;
    constexpr unsigned kParametricStereo = 29;
    reason = "its AudioSpecificConfig is missing or damaged";
    if (track.settings.size() < 2) return nullptr;
    const unsigned bits = track.settings[0] * 256U + track.settings[1];
    const unsigned kind = bits >> 11;
    const int rate = aacRate(bits >> 7 & 0xf);
    const unsigned channels = bits >> 3 & 0xf;
    reason = "ADTS cannot describe its AAC configuration";
    const bool isKnown = kind == kLowComplexity || kind == kBandReplication || kind == kParametricStereo;
    if (!isKnown || rate == 0 || channels == 0 || channels > 7) return nullptr;
    auto media = Media::sound(AV_CODEC_ID_AAC, {rate, channels == 7 ? 8 : static_cast<int>(channels)});
    media->parameters = track.settings;
    return media;
}

}  // namespace

std::unique_ptr<FileTrack> FileTrack::make(const Mp4Track& track, std::string& reason) {
    std::shared_ptr<Media> media;
    reason = "its codec is neither H.264 nor AAC";
    if (track.timescale == 0) {
        reason = "its time scale is 0";
    } else if (track.codec == "avc1" && track.handler == "vide") {
        media = picturesOf(track, reason);
    } else if (track.codec == "mp4a" && track.handler == "soun") {
        media = soundOf(track, reason);
    }
    if (!media) return nullptr;
    media->timescale = track.timescale;
    return std::unique_ptr<FileTrack>(new FileTrack(std::move(media), track.lengthBytes));
}

std::shared_ptr<MediaPacket> FileTrack::packet(const Mp4Packet& read) const {
    const bool video = media_->kind == Media::Kind::video;
    std::size_t size = 0;
    if (video) {
        size = byteStreamSize(read.data, lengthBytes_).value_or(0);
    } else if (read.data.size() <= AdtsHeader::kMostUnit - AdtsHeader::kBytes) {
        size = AdtsHeader::kBytes + read.data.size();
    }
    if (size == 0) return nullptr;
    const auto bytes = std::make_shared_for_overwrite<std::uint8_t[]>(size);
    if (video) {
        writeByteStream(read.data, lengthBytes_, bytes.get());
    } else {
        AdtsHeader::write(bytes.get(), media_->sampleRate, media_->channels, read.data.size());
        std::ranges::copy(read.data, bytes.get() + AdtsHeader::kBytes);
    }
    auto packet = std::make_shared<MediaPacket>();
    packet->media = media_;
    packet->stamp = SteadyTime(std::chrono::nanoseconds(read.time));
    packet->duration = std::chrono::nanoseconds(read.duration);
    packet->key = read.key;
    packet->bytes = {bytes, bytes.get()};
    packet->size = static_cast<int>(size);
    return packet;
}

}  // namespace kep::host
