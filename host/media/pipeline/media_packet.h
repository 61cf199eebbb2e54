#ifndef KEP_HOST_MEDIA_PACKET_H
#define KEP_HOST_MEDIA_PACKET_H

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "kep/packet.h"
#include "kep/visibility.h"
#include "media/audio/audio_block.h"
#include "media/common/ffmpeg.h"
#include "picture/picture.h"

namespace kep::host {

/** Description of a stream's packets. Shared by all of them and immutable: when the stream changes, later
 * packets point to another one. */
class KEP_API Media final : public stream::IMedia {
  public:
    enum class Kind { video, audio };
    /** The name in messages. */
    static const char* nameOf(Kind kind) { return kind == Kind::video ? "video" : "audio"; }

    Kind kind = Kind::video;
    AVCodecID codec = AV_CODEC_ID_NONE; /**< AV_CODEC_ID_RAWVIDEO and AV_CODEC_ID_PCM_S16LE for raw media */
    int width = 0;
    int height = 0;
    AVRational frameRate = {0, 1};
    AVColorSpace colours = AVCOL_SPC_UNSPECIFIED;
    int sampleRate = 0;
    int channels = 0;
    int bitRate = 0;
    std::uint32_t timescale = 0;          /**< units per second of the file it was read from; 0 for none */
    std::vector<std::uint8_t> parameters; /**< of the codec, as in FFmpeg's extradata; empty if in-band */

    /** Audio of a codec and format. */
    static std::shared_ptr<Media> sound(AVCodecID codec, AudioFormat format);

    virtual ~Media() = default;
    AudioFormat audioFormat() const { return {sampleRate, channels}; }
    int Codec() const override { return codec; }
    void toString(std::string& text) const override;
    /** Not supported: always false. */
    bool fromString(const char*) override { return false; }
};

using MediaPtr = std::shared_ptr<const Media>;

/** One picture, block of samples or access unit in a pipeline. Shared, so read only. */
class KEP_API MediaPacket final : public stream::Packet {
  public:
    MediaPtr media;
    SteadyTime stamp;                     /**< capture time of the picture or of the first sample */
    std::chrono::nanoseconds duration{0}; /**< 0 when unknown */
    bool key = true;
    std::int64_t number = 0; /**< of the camera's picture; 0 for audio */
    PicturePtr picture;      /**< of raw video, which has no bytes */
    std::shared_ptr<const std::uint8_t> bytes;
    int size = 0;

    MediaPacket() = default;
    MediaPacket(MediaPtr what, SteadyTime when) : media(std::move(what)), stamp(when) {}
    virtual ~MediaPacket() = default;
    const void* Data() const override { return bytes.get(); }
    int Size() const override { return size; }
    std::int64_t PlayTime() const override { return stamp.time_since_epoch() / std::chrono::nanoseconds(1); }
    bool IsKey() const override { return key; }
    stream::IMedia* Media() const override { return const_cast<host::Media*>(media.get()); }

    bool isVideo() const { return media->kind == host::Media::Kind::video; }
    /** Its weight in a queue that is bounded in bytes. */
    std::size_t weight() const { return picture ? weightOf(picture) : static_cast<std::size_t>(size); }
};

using SharedPacket = std::shared_ptr<const MediaPacket>;

inline std::size_t weightOf(const SharedPacket& packet) {
    return packet->weight();
}

/** Packet counts by kind. */
struct PacketCounts {
    std::size_t video = 0;
    std::size_t audio = 0;

    std::size_t& operator[](Media::Kind kind) { return kind == Media::Kind::video ? video : audio; }
    void add(const MediaPacket& packet) { ++(*this)[packet.media->kind]; }
};

/** Finds the packets at which a stream may be cut. With video, groups begin at key frames only. */
class GroupSense {
  public:
    bool begins(const MediaPacket& packet) {
        if (packet.isVideo()) video_ = true;
        return packet.key && packet.isVideo() == video_;
    }

  private:
    bool video_ = false;
};

}  // namespace kep::host

#endif
