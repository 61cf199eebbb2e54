/**
 * CPU time of volume and mute relative to that of the stream to which they apply: a PCM stream of the test
 * tone in 48 kHz stereo, read in real time by VNReadPcm in blocks of 20 ms at full volume, which needs no
 * multiplication.
 *
 *   bench_volume_cost [SECONDS]
 *
 * Prints one figure a line.
 */
#include <time.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "media/audio/volume.h"
#include "vornisa_api.h"

namespace {

using kep::host::AudioFormat;
using kep::host::Gain;
using kep::host::Volume;

constexpr AudioFormat kFormat{48000, 2};
constexpr int kBlocksInSecond = 50;
/** Enough for a clock resolution of a microsecond: a block takes less than that. */
constexpr int kSecondsMultiplied = 600;

void must(bool holds, const char* what) {
    if (holds) return;
    std::fprintf(stderr, "bench_volume_cost: %s\n", what);
    std::exit(1);
}

/** CPU time of the process in milliseconds. */
double cpuMs() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) * 1e-6;
}

using Block = std::vector<std::int16_t>;

Block emptyBlock() {
    return Block(static_cast<std::size_t>(kFormat.rate / kBlocksInSecond * kFormat.channels));
}

/** CPU milliseconds per second of a stream. */
double streamCost(int seconds) {
    int id = 0;
    must(VNAcquire(VNRES_PCM_SOURCE, &id) == VNRES_SUCCEED, "VNAcquire failed");
    must(VNSetAudio(id, kFormat.rate, kFormat.channels) == VNRES_SUCCEED, "VNSetAudio failed");
    must(VNStart(id) == VNRES_SUCCEED, "VNStart failed");
    Block block = emptyBlock();
    const int bytes = static_cast<int>(block.size() * sizeof block[0]);
    double begin = 0;
    for (int i = -kBlocksInSecond; i < seconds * kBlocksInSecond; ++i) {
        if (i == 0) begin = cpuMs();
        must(VNReadPcm(id, block.data(), bytes, nullptr) == VNRES_SUCCEED, "VNReadPcm failed");
    }
    const double cost = (cpuMs() - begin) / seconds;
    VNStop(id);
    VNRelease(id);
    return cost;
}

/** CPU milliseconds per second of samples. */
double gainCost(const Volume& volume) {
    Gain gain(volume);
    Block block = emptyBlock();
    for (std::size_t i = 0; i < block.size(); ++i) block[i] = static_cast<std::int16_t>(i * 17);
    const double begin = cpuMs();
    for (int i = 0; i < kSecondsMultiplied * kBlocksInSecond; ++i) gain.apply(block, kFormat);
    return (cpuMs() - begin) / kSecondsMultiplied;
}

}  // namespace

int main(int argc, char** argv) {
    setenv("KEP_HOST_AUDIO", "test", 1);
    setenv("KEP_HOST_PRERECORD", "attached", 1);  // measure the stream only
    Volume half("half");
    half.set(50);
    Volume muted("muted");
    muted.setMute(true);
    const double halfMs = gainCost(half);
    const double mutedMs = gainCost(muted);
    const double streamMs = streamCost(argc > 1 ? std::atoi(argv[1]) : 20);
    std::printf("pcm_stream_cpu_ms %.3f\nvolume_cpu_percent %.3f\nmute_cpu_percent %.3f\n", streamMs,
                100 * halfMs / streamMs, 100 * mutedMs / streamMs);
    return 0;
}
