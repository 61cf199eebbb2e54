#include <exception>
#include <string>
#include <string_view>

#include "media/audio/aac_block_decoder.h"
#include "media/audio/aac_block_encoder.h"
#include "media/audio/adts.h"
#include "objects/class_registry.h"
#include "objects/log.h"

namespace kep::host {
namespace {

/** Type of the function properties. Lengths are in: bytes available; out: bytes used. */
using CodecFunction = bool (*)(object_base* codec, const void* in, int& in_len, void* out, int& out_len);

constexpr int kHighestBitRate = 2'000'000;
constexpr int kHighestBandWidth = 48'000;

/**
 * AAC for buffers of an application, without a pipeline: `isEncoder=true` or `false`. Each codec has the
 * function properties of both directions; a call to the wrong one fails.
 */
class AacCodec final : public ObjectImpl {
  public:
    AacCodec() {
        initFfmpeg();
        reserveAttributes({"isEncoder"});
        const auto addSetting = [this](const char* key, int AacSettings::*setting, auto isAccepted,
                                       const char* accepted) {
            properties().add<int>(
                key, [this, setting] { return settings_.*setting; },
                [this, key, setting, isAccepted, accepted](int wanted) {
                    if (!isAccepted(wanted)) {
                        KEP_HOST_ERROR(label() + ": " + key + "=" + std::to_string(wanted) + " is not " +
                                       accepted);
                        return false;
                    }
                    settings_.*setting = wanted;
                    return true;
                });
        };
        addSetting(
            "rate", &AacSettings::rate, isAacRate,
            "a sample rate of AAC: 96000, 88200, 64000, 48000, 44100, 32000, 24000, 22050, 16000, 12000, "
            "11025, 8000, 7350");
        addSetting("ch", &AacSettings::channels, isAacChannelCount, "from 1 to 6, or 8");
        addSetting(
            "br", &AacSettings::bitRate, [](int wanted) { return wanted >= 0 && wanted <= kHighestBitRate; },
            "from 0 to 2000000");
        addSetting(
            "bw", &AacSettings::bandWidth,
            [](int wanted) { return wanted >= 0 && wanted <= kHighestBandWidth; }, "from 0 to 48000");
        properties().add<bool>(
            "adts", [this] { return settings_.adts; },
            [this](bool wanted) { return settings_.adts = wanted, true; });
        properties().add<CodecFunction>(
            "funcEncodeStatic", [] { return &encode; }, nullptr);
        properties().add<CodecFunction>(
            "funcDecodeStatic", [] { return &decode; }, nullptr);
    }

    bool Configure(base::AttrSet& attributes) override {
        const std::string_view direction = attributes.GetOrDef("isEncoder", "");
        if (direction != "true" && direction != "false") {
            KEP_HOST_ERROR(label() + ": isEncoder=" + std::string(direction) + " is neither true nor false");
            return false;
        }
        isEncoder_ = direction == "true";
        return ObjectImpl::Configure(attributes);
    }

  private:
    static bool encode(object_base* codec, const void* in, int& inLength, void* out, int& outLength) {
        return run(codec, true, in, inLength, out, outLength);
    }
    static bool decode(object_base* codec, const void* in, int& inLength, void* out, int& outLength) {
        return run(codec, false, in, inLength, out, outLength);
    }

    static bool run(object_base* object, bool encodes, const void* in, int& inLength, void* out,
                    int& outLength) {
        auto* const codec = dynamic_cast<AacCodec*>(object);
        if (!codec || codec->isEncoder_ != encodes) {
            auto* const other = dynamic_cast<ObjectImpl*>(object);
            KEP_HOST_ERROR((other ? other->label() : "the object of this handle") + " is not an AAC " +
                           (encodes ? "encoder" : "decoder"));
            return false;
        }
        if (inLength < 0 || outLength < 0 || (!in && inLength > 0) || (!out && outLength > 0)) {
            KEP_HOST_ERROR(codec->label() + ": invalid buffers: input of " + std::to_string(inLength) +
                           " bytes" + (in ? "" : " at null") + ", output buffer of " +
                           std::to_string(outLength) + " bytes" + (out ? "" : " at null"));
            return false;
        }
        BlockUse used;
        std::string reason;
        if (!codec->convert({static_cast<const std::uint8_t*>(in), static_cast<std::size_t>(inLength)},
                            {static_cast<std::uint8_t*>(out), static_cast<std::size_t>(outLength)}, used,
                            reason)) {
            KEP_HOST_ERROR(codec->label() + ": " + reason);
            return false;
        }
        inLength = static_cast<int>(used.taken);
        outLength = static_cast<int>(used.written);
        return true;
    }

    bool convert(std::span<const std::uint8_t> in, std::span<std::uint8_t> out, BlockUse& used,
                 std::string& reason) try {
        if (isEncoder_) {
            encoder_.use(settings_);
            return encoder_.encode(in, out, used, reason);
        }
        decoder_.use(settings_);
        std::string skipped;
        const bool decoded = decoder_.decode(in, out, used, skipped, reason);
        if (!skipped.empty()) KEP_HOST_ERROR(label() + ": skipped " + skipped);
        return decoded;
    } catch (const std::exception& failure) {
        reason = failure.what();
        return false;
    }

    bool isEncoder_ = true;
    AacSettings settings_;
    AacBlockEncoder encoder_;
    AacBlockDecoder decoder_;
};

const ClassRegistration<AacCodec> aacCodecRegistration("AacCodec");

}  // namespace
}  // namespace kep::host
