/**
 * VNAacEncode and VNAacDecode of ten minutes of stereo at 48 kHz, compared with direct calls of libavcodec.
 * The direct encoder is given the planar floats that libavcodec takes and writes no ADTS headers: converting
 * and writing them counts as the API's cost. Decoding is compared with two direct decoders: one converts the
 * planar floats to 16-bit samples by libswresample, as VNAacDecode has to, the other leaves them as they are.
 * The sides alternate in turns of a second of audio. A ratio is the median of the turns' ratios; the first
 * turns are not measured.
 *
 *   bench_aac_cost [SECONDS]
 *
 * Prints one figure a line.
 */
#include <time.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <numbers>
#include <numeric>
#include <random>
#include <vector>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libswresample/swresample.h>
}

#include "allocation_count.h"
#include "vornisa_api.h"

namespace {

constexpr int kRate = 48000;
constexpr int kChannels = 2;
constexpr int kBitRate = 128'000;
constexpr int kUnit = 1024;                         // samples of each channel
constexpr int kBlockBytes = kUnit * kChannels * 2;  // 16-bit samples
constexpr int kMaxUnitBytes = 768 * kChannels + 7;  // with the ADTS header
constexpr int kTurnBlocks = 45;                     // about a second of sound
constexpr int kWarmTurns = 4;                       // not measured: buffers still grow
constexpr std::size_t kAdtsHeader = 7;

using Block = std::array<std::int16_t, kUnit * kChannels>;
using Planes = std::array<std::array<float, kUnit>, kChannels>;
using Unit = std::vector<std::uint8_t>;

void must(bool holds, const char* what) {
    if (holds) return;
    std::fprintf(stderr, "bench_aac_cost: %s\n", what);
    std::exit(1);
}

double cpuSeconds() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

/** Time and allocations of one side. */
struct Cost {
    std::vector<double> turns;  // CPU seconds of each
    std::size_t allocations = 0;

    template <class Work>
    void of(bool counts, Work work) {
        const std::size_t allocationsBefore = allocationCount();
        const double before = cpuSeconds();
        work();
        if (!counts) return;
        turns.push_back(cpuSeconds() - before);
        allocations += allocationCount() - allocationsBefore;
    }
};

struct AvDeleter {
    void operator()(AVCodecContext* codec) const { avcodec_free_context(&codec); }
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
    void operator()(SwrContext* converter) const { swr_free(&converter); }
};

/** The same codec as the API's, by libavcodec alone. */
class Direct {
  public:
    explicit Direct(bool encodes) {
        const AVCodec* const codec =
            encodes ? avcodec_find_encoder_by_name("aac") : avcodec_find_decoder(AV_CODEC_ID_AAC);
        must(codec, "libavcodec has no AAC codec");
        codec_.reset(avcodec_alloc_context3(codec));
        if (encodes) {
            codec_->sample_rate = kRate;
            codec_->sample_fmt = AV_SAMPLE_FMT_FLTP;
            codec_->bit_rate = kBitRate;
            codec_->time_base = {1, kRate};
            av_channel_layout_default(&codec_->ch_layout, kChannels);
        }
        must(avcodec_open2(codec_.get(), codec, nullptr) >= 0, "cannot open the AAC codec");
        if (!encodes) return;
        frame_->format = AV_SAMPLE_FMT_FLTP;
        frame_->sample_rate = kRate;
        frame_->nb_samples = kUnit;
        av_channel_layout_default(&frame_->ch_layout, kChannels);
        must(av_frame_get_buffer(frame_.get(), 0) >= 0, "no memory");
    }

    /** @param unit out: the access unit; empty when there is none yet, as for the first block */
    void encode(const Planes& planes, Unit& unit) {
        must(av_frame_make_writable(frame_.get()) >= 0, "no memory");
        for (std::size_t channel = 0; channel < planes.size(); ++channel)
            std::memcpy(frame_->extended_data[channel], planes[channel].data(), sizeof planes[channel]);
        frame_->pts = encoded_;
        encoded_ += kUnit;
        must(avcodec_send_frame(codec_.get(), frame_.get()) >= 0, "the encoder failed");
        unit.clear();
        while (avcodec_receive_packet(codec_.get(), packet_.get()) >= 0) {
            unit.insert(unit.end(), packet_->data, packet_->data + packet_->size);
            av_packet_unref(packet_.get());
        }
    }

    /**
     * @param unit  with AV_INPUT_BUFFER_PADDING_SIZE zeros at its end
     * @param block out: its samples; null to leave them unconverted
     */
    int decode(const Unit& unit, Block* block) {
        packet_->data = const_cast<std::uint8_t*>(unit.data());
        packet_->size = static_cast<int>(unit.size() - AV_INPUT_BUFFER_PADDING_SIZE);
        must(avcodec_send_packet(codec_.get(), packet_.get()) >= 0, "the decoder failed");
        packet_->data = nullptr;
        packet_->size = 0;
        int samples = 0;
        while (avcodec_receive_frame(codec_.get(), frame_.get()) >= 0) {
            samples += frame_->nb_samples;
            if (block) convert(*block);
            av_frame_unref(frame_.get());
        }
        return samples;
    }

  private:
    void convert(Block& block) {
        if (!converter_) {
            SwrContext* made = nullptr;
            AVChannelLayout layout = frame_->ch_layout;
            must(swr_alloc_set_opts2(&made, &layout, AV_SAMPLE_FMT_S16, kRate, &layout, AV_SAMPLE_FMT_FLTP,
                                     kRate, 0, nullptr) >= 0 &&
                     swr_init(made) >= 0,
                 "cannot create the sample converter");
            converter_.reset(made);
        }
        auto* out = reinterpret_cast<std::uint8_t*>(block.data());
        swr_convert(converter_.get(), &out, kUnit, const_cast<const std::uint8_t**>(frame_->extended_data),
                    frame_->nb_samples);
    }

    std::unique_ptr<AVCodecContext, AvDeleter> codec_;
    std::unique_ptr<SwrContext, AvDeleter> converter_;
    std::unique_ptr<AVFrame, AvDeleter> frame_{av_frame_alloc()};
    std::unique_ptr<AVPacket, AvDeleter> packet_{av_packet_alloc()};
    std::int64_t encoded_ = 0;
};

int acquired(int resource) {
    int id = 0;
    must(VNAcquire(resource, &id) == VNRES_SUCCEED, "VNAcquire failed");
    must(VNAacCodecSet(id, kRate, kChannels, 1, kBitRate, 0) == VNRES_SUCCEED, "VNAacCodecSet failed");
    return id;
}

/** Chords that change every quarter of a second, with some noise. */
class Music {
  public:
    void next(Block& block, Planes& planes) {
        for (std::size_t i = 0; i < kUnit; ++i, ++position_) {
            const double time = static_cast<double>(position_) / kRate;
            const double root = 110 * std::pow(2, static_cast<int>(time * 4) % 12 / 12.0);
            for (std::size_t channel = 0; channel < kChannels; ++channel) {
                double value = noise_(random_);
                for (int harmonic = 1; harmonic < 8; ++harmonic)
                    value += 6000.0 / harmonic *
                             std::sin(2 * std::numbers::pi * root * harmonic * time +
                                      harmonic * static_cast<double>(channel));
                block[i * kChannels + channel] = static_cast<std::int16_t>(value);
                planes[channel][i] = static_cast<float>(block[i * kChannels + channel]) / 32768.0F;
            }
        }
    }

  private:
    std::int64_t position_ = 0;
    std::mt19937 random_{1};
    std::uniform_real_distribution<double> noise_{-200, 200};
};

/** Runs both sides of both directions, one turn at a time. */
class Comparison {
  public:
    void turn() {
        const bool counts = turns_ >= kWarmTurns;
        const bool oursFirst = turns_ % 2 == 0;
        ++turns_;
        for (std::size_t i = 0; i < kTurnBlocks; ++i) music_.next(blocks_[i], planes_[i]);
        const auto ours = [this] { encodeByApi(); };
        const auto direct = [this] { encodeDirectly(); };
        if (oursFirst) encodeOurs.of(counts, ours);
        encodeDirect.of(counts, direct);
        if (!oursFirst) encodeOurs.of(counts, ours);
        compareUnits();

        const auto decodeOwn = [this] { decodeByApi(); };
        const auto decodeTheirs = [this] { decodeDirectly(directDecoder_, true); };
        if (oursFirst) decodeOurs.of(counts, decodeOwn);
        decodeDirect.of(counts, decodeTheirs);
        if (!oursFirst) decodeOurs.of(counts, decodeOwn);
        decodeToFloats.of(counts, [this] { decodeDirectly(floatDecoder_, false); });
    }

    void release() const {
        VNRelease(encoder_);
        VNRelease(decoder_);
    }

    Cost encodeOurs, encodeDirect, decodeOurs, decodeDirect, decodeToFloats;

  private:
    void encodeByApi() {
        for (std::size_t i = 0; i < kTurnBlocks; ++i) {
            int consumed = 0;
            lengths_[i] = VNAacEncode(encoder_, blocks_[i].data(), kBlockBytes, &consumed, coded_[i].data(),
                                      kMaxUnitBytes);
            if (lengths_[i] < 0 || consumed != kBlockBytes) must(false, "VNAacEncode failed");
        }
    }
    void encodeDirectly() {
        for (std::size_t i = 0; i < kTurnBlocks; ++i) directEncoder_.encode(planes_[i], units_[i]);
    }
    /** Checks that both sides made the same access units, and pads these for the decoders. */
    void compareUnits() {
        for (std::size_t i = 0; i < kTurnBlocks; ++i) {
            const auto length = static_cast<std::size_t>(lengths_[i]);
            must(units_[i].empty() ? length == 0 : length == units_[i].size() + kAdtsHeader,
                 "the access units differ in length");
            if (length == 0) continue;
            must(std::memcmp(coded_[i].data() + kAdtsHeader, units_[i].data(), units_[i].size()) == 0,
                 "the access units differ");
            units_[i].assign(coded_[i].data(), coded_[i].data() + length);
            units_[i].resize(length + AV_INPUT_BUFFER_PADDING_SIZE);
        }
    }
    void decodeByApi() {
        for (std::size_t i = 0; i < kTurnBlocks; ++i) {
            if (lengths_[i] == 0) continue;
            int consumed = 0;
            const int made = VNAacDecode(decoder_, coded_[i].data(), lengths_[i], &consumed,
                                         blocks_[i].data(), kBlockBytes);
            if (made != kBlockBytes || consumed != lengths_[i]) must(false, "VNAacDecode failed");
        }
    }
    void decodeDirectly(Direct& decoder, bool converts) {
        for (std::size_t i = 0; i < kTurnBlocks; ++i) {
            if (lengths_[i] == 0) continue;
            if (decoder.decode(units_[i], converts ? &blocks_[i] : nullptr) != kUnit)
                must(false, "the decoder failed");
        }
    }

    const int encoder_ = acquired(VNRES_AAC_ENCODER);
    const int decoder_ = acquired(VNRES_AAC_DECODER);
    Direct directEncoder_{true};
    Direct directDecoder_{false};
    Direct floatDecoder_{false};
    Music music_;
    int turns_ = 0;
    std::vector<Block> blocks_ = std::vector<Block>(kTurnBlocks);
    std::vector<Planes> planes_ = std::vector<Planes>(kTurnBlocks);
    std::vector<std::array<std::uint8_t, kMaxUnitBytes>> coded_ =
        std::vector<std::array<std::uint8_t, kMaxUnitBytes>>(kTurnBlocks);
    std::array<int, kTurnBlocks> lengths_{};
    std::vector<Unit> units_ = std::vector<Unit>(kTurnBlocks, Unit(2 * kMaxUnitBytes));
};

double sum(const Cost& cost) {
    return std::accumulate(cost.turns.begin(), cost.turns.end(), 0.0);
}

/** Median of the turns' ratios: both sides of a turn run under the same conditions. */
double ratio(const Cost& ours, const Cost& direct) {
    std::vector<double> ratios;
    for (std::size_t i = 0; i < ours.turns.size(); ++i) ratios.push_back(ours.turns[i] / direct.turns[i]);
    const auto middle = ratios.begin() + static_cast<std::ptrdiff_t>(ratios.size() / 2);
    std::nth_element(ratios.begin(), middle, ratios.end());
    return *middle;
}

void print(const char* direction, const Cost& ours, const Cost& direct) {
    std::printf("aac_%s_ratio %.4f\naac_%s_s %.3f\naac_%s_direct_s %.3f\n", direction, ratio(ours, direct),
                direction, sum(ours), direction, sum(direct));
    std::printf("aac_%s_allocations %ld\naac_%s_direct_allocations %zu\n", direction,
                static_cast<long>(ours.allocations) - static_cast<long>(direct.allocations), direction,
                direct.allocations);
}

}  // namespace

int main(int argc, char** argv) {
    const int seconds = argc > 1 ? std::atoi(argv[1]) : 600;
    const int turns = seconds * kRate / kUnit / kTurnBlocks + kWarmTurns;
    av_log_set_level(AV_LOG_QUIET);
    Comparison comparison;
    for (int i = 0; i < turns; ++i) comparison.turn();
    print("encode", comparison.encodeOurs, comparison.encodeDirect);
    print("decode", comparison.decodeOurs, comparison.decodeDirect);
    std::printf("aac_decode_to_floats_ratio %.4f\n", ratio(comparison.decodeOurs, comparison.decodeToFloats));
    comparison.release();
    return 0;
}
