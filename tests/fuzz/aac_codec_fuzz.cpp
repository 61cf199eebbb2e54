// Any bytes as AAC, through the public header: an ADTS stream in pieces of any length, or bare access units.
// Nothing may crash, every call keeps to its buffers, and the decoded samples of an ADTS stream depend
// neither on how it is split nor on the size of the output buffer.
//
// Three bytes choose the settings (the constructor of Settings), the rest is the stream. Each bare access
// unit is preceded by its length in two bytes, big-endian.
//
// Opening a codec takes ten times as long as decoding an input. Decoders are therefore kept from input to
// input; the replay of a single input has new ones.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <span>
#include <string>
#include <utility>

#include "vornisa_api.h"

namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::array kRates = {96000, 88200, 64000, 48000, 44100, 32000, 24000,
                               22050, 16000, 12000, 11025, 8000,  7350};
constexpr std::array kChannels = {1, 2, 3, 4, 5, 6, 8};
/** Output buffers: none, around one unit of one or two channels, and enough for any unit of usual streams. */
constexpr std::array<std::size_t, 8> kRooms = {0, 1, 2047, 2048, 4095, 4096, 8192, 65536};
/** Larger than any decoded block: 64 channels of 2048 samples. */
constexpr std::size_t kAmpleRoom = 64 * 2048 * sizeof(std::int16_t);
constexpr std::size_t kSettingsBytes = 3;
/** For bare units. Each may take 30 MiB, as hostile units describe many channels. */
constexpr std::size_t kMostDecoders = 20;
/** Completes any unfinished unit of a stream: the length field of its header has 13 bits. */
constexpr std::size_t kLongestUnit = 0x1fff;

void require(bool holds, const char* what) {
    if (holds) return;
    std::fprintf(stderr, "%s\n", what);
    std::abort();
}

/** An ADTS stream has rate and channels in its headers: they are chosen for bare units only. */
struct Settings {
    explicit Settings(Bytes chosen)
        : adts(chosen[1] < 128),
          rate(adts ? 48000 : kRates[chosen[0] % kRates.size()]),
          channels(adts ? 2 : kChannels[chosen[1] % 16 % kChannels.size()]),
          room(kRooms[chosen[1] / 16 % kRooms.size()]),
          piece(chosen[2]) {}

    bool adts;
    int rate;
    int channels;
    std::size_t room;
    std::size_t piece; /**< bytes of an ADTS stream in each call; 0 for all of them in one */
};

class Decoder {
  public:
    explicit Decoder(const Settings& settings) : adts_(settings.adts) {
        require(VNAcquire(VNRES_AAC_DECODER, &id_) == VNRES_SUCCEED, "no decoder");
        require(VNAacCodecSet(id_, settings.rate, settings.channels, settings.adts, 0, 0) == VNRES_SUCCEED,
                "settings refused");
    }
    Decoder(const Decoder&) = delete;
    Decoder& operator=(const Decoder&) = delete;
    ~Decoder() { VNRelease(id_); }

    /** Decodes all of `in`; what does not fit into `room` is retried with ample room. A bare unit may be
     * refused. */
    void decode(Bytes in, std::size_t room) {
        while (!in.empty()) {
            std::size_t taken = 0;
            if (!call(in, room, taken) && !call(in, kAmpleRoom, taken)) {
                require(!adts_, "a stream is refused in spite of ample room");
                return;
            }
            in = in.subspan(taken);
        }
    }

    /** Ends the input; returns all decoded samples. */
    std::string finish() {
        static const std::array<std::uint8_t, kLongestUnit> zeros{};
        if (adts_) decode(zeros, kAmpleRoom);
        std::size_t taken = 0;
        for (std::size_t before = samples_.size() + 1; before != samples_.size();) {
            before = samples_.size();
            require(call({}, kAmpleRoom, taken), "draining is refused");
        }
        return std::exchange(samples_, {});
    }

  private:
    bool call(Bytes in, std::size_t room, std::size_t& taken) {
        // The buffer ends with the array, so that the sanitizer detects an overrun.
        static std::array<char, kAmpleRoom> out;
        char* const samples = out.data() + out.size() - room;
        int consumed = -1;
        const int made = VNAacDecode(id_, in.data(), static_cast<int>(in.size()), &consumed, samples,
                                     static_cast<int>(room));
        if (made < 0) {
            require(made == VNRES_UNSUPPORTED && consumed == -1,
                    "a refusal with another error or with consumed input");
            return false;
        }
        require(consumed >= 0 && static_cast<std::size_t>(consumed) <= in.size(),
                "more input consumed than given");
        require(static_cast<std::size_t>(made) <= room && made % 2 == 0,
                "more written than the output buffer holds");
        require(in.empty() || consumed > 0 || made > 0, "a call succeeds without progress");
        samples_.append(samples, static_cast<std::size_t>(made));
        taken = static_cast<std::size_t>(consumed);
        return true;
    }

    int id_ = 0;
    const bool adts_;
    std::string samples_;
};

void decodeUnits(const Settings& settings, Bytes units) {
    static std::map<std::pair<int, int>, Decoder> decoders;
    if (decoders.size() > kMostDecoders) decoders.clear();
    Decoder& decoder = decoders.try_emplace({settings.rate, settings.channels}, settings).first->second;
    while (units.size() > 2) {
        const std::size_t told = static_cast<std::size_t>(units[0]) << 8 | units[1];
        const Bytes unit = units.subspan(2, std::min(told, units.size() - 2));
        decoder.decode(unit, settings.room);
        units = units.subspan(2 + unit.size());
    }
    decoder.finish();
}

void decodeStream(const Settings& settings, Bytes stream) {
    static Decoder inPieces(settings);
    static Decoder whole(settings);
    for (Bytes rest = stream; !rest.empty();) {
        const std::size_t size = settings.piece == 0 ? rest.size() : std::min(settings.piece, rest.size());
        inPieces.decode(rest.first(size), settings.room);
        rest = rest.subspan(size);
    }
    whole.decode(stream, kAmpleRoom);
    require(whole.finish() == inPieces.finish(), "decoded samples depend on pieces or room");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < kSettingsBytes) return 0;
    const Bytes input(data, size);
    const Settings settings(input.first(kSettingsBytes));
    const Bytes stream = input.subspan(kSettingsBytes);
    if (settings.adts)
        decodeStream(settings, stream);
    else
        decodeUnits(settings, stream);
    return 0;
}
