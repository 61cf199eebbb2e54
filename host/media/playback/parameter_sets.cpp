#include <algorithm>

#include "media/pipeline/element.h"
#include "media/playback/annex_b.h"
#include "objects/class_registry.h"

namespace kep::host {
namespace {

/** Inserts the parameter sets of an H.264 stream before key frames that lack them, so that a decoder can
 * begin at each key frame. */
class ParameterSets final : public Element {
  public:
    ~ParameterSets() override { retire(); }

    void take(const SharedPacket& packet, const Element&) override {
        const bool lacks = packet->key && packet->media->codec == AV_CODEC_ID_H264 &&
                           !packet->media->parameters.empty() && packet->bytes &&
                           !hasParameterSets(dataOf(*packet));
        give(lacks ? withSets(*packet) : packet);
    }
    bool takesAtOnce() const override { return nextTakeAtOnce(); }

  private:
    static Span dataOf(const MediaPacket& packet) {
        return {packet.bytes.get(), static_cast<std::size_t>(packet.size)};
    }

    static SharedPacket withSets(const MediaPacket& packet) {
        const Span data = dataOf(packet);
        const Span sets = packet.media->parameters;
        const std::size_t size = sets.size() + data.size();
        const auto bytes = std::make_shared_for_overwrite<std::uint8_t[]>(size);
        // An access unit delimiter must stay first.
        const std::size_t begin = delimiterSize(data);
        std::uint8_t* at = std::copy_n(data.begin(), begin, bytes.get());
        at = std::copy(sets.begin(), sets.end(), at);
        std::copy(data.begin() + static_cast<std::ptrdiff_t>(begin), data.end(), at);
        auto made = std::make_shared<MediaPacket>(packet);
        made->bytes = {bytes, bytes.get()};
        made->size = static_cast<int>(size);
        return made;
    }
};

const ClassRegistration<ParameterSets> parameterSetsRegistration("H264SpsPpsAdd");

}  // namespace
}  // namespace kep::host
