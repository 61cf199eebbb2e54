/** What VNReadPcm costs beside two plain copies of the same frames, in time and in allocations. */
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <vector>

#include "allocation_count.h"
#include "kep/streaming.h"
#include "median_reporter.h"
#include "vornisa_api.h"

namespace {

using namespace kep::api::streaming;
using common::frame_t;

/** Frames are multiples of blocks: a shorter block would write a line, which is not what is measured. */
struct Sizes {
    const char* name;
    int frame;
    int block;
};

/** 20 ms of 16 kHz mono, of 48 kHz stereo whole and in quarters, and the sizes of a bulk reader. */
constexpr Sizes kSizes[] = {{"frames_640_blocks_640", 640, 640},
                            {"frames_3840_blocks_3840", 3840, 3840},
                            {"frames_3840_blocks_960", 3840, 960},
                            {"frames_65536_blocks_4096", 65536, 4096}};

constexpr int kCapacity = 131072;
/** Exceeds a level-2 cache: a frame comes from another core. */
constexpr int kSourceBytes = 8 << 20;

class Source : public IPcmSource {
  public:
    bool ChangeUp(kep::State) override { return true; }
    bool ChangeDown(kep::State) override { return true; }
    bool RegisterMessageCallback(const std::function<bool(const char*)>&) override { return true; }
    bool IsSupportedPullFrame() override { return true; }
    bool PullFrame(std::shared_ptr<frame_t>& frame, bool) override {
        if (next_ + frameBytes > kSourceBytes) next_ = 0;
        frame = std::make_shared<frame_t>();
        frame->data = &data_[static_cast<std::size_t>(next_)];
        frame->size = frameBytes;
        frame->release = [this](frame_t*) { ++released_; };
        next_ += frameBytes;
        return true;
    }
    void SetSampleRate(int) override {}
    void SetChannels(int) override {}

    int frameBytes = 0;

  private:
    std::vector<unsigned char> data_ = std::vector<unsigned char>(kSourceBytes, 0x5a);
    int next_ = 0;
    std::size_t released_ = 0;
};

Source* source = nullptr;
int handle = 0;
unsigned char store[kCapacity];
unsigned char block[kCapacity];

bool copyFrameTwice(common::IStreamOutput& output, const Sizes& sizes) {
    std::shared_ptr<frame_t> frame;
    if (!output.PullFrame(frame, true)) return false;
    std::memcpy(store, frame->data, static_cast<std::size_t>(frame->size));
    benchmark::ClobberMemory();
    for (int at = 0; at < sizes.frame; at += sizes.block) {
        std::memcpy(block, store + at, static_cast<std::size_t>(sizes.block));
        benchmark::ClobberMemory();
    }
    return true;
}

bool readFrame(const Sizes& sizes) {
    for (int at = 0; at < sizes.frame; at += sizes.block) {
        int length = 0;
        if (VNReadPcm(handle, block, sizes.block, &length) != VNRES_SUCCEED || length != sizes.block)
            return false;
        benchmark::ClobberMemory();
    }
    return true;
}

void copyTwice(benchmark::State& state, const Sizes& sizes) {
    source->frameBytes = sizes.frame;
    common::IStreamOutput* output = source;
    benchmark::DoNotOptimize(output);
    for (auto _ : state)
        if (!copyFrameTwice(*output, sizes)) state.SkipWithError("pull failed");
    state.SetBytesProcessed(state.iterations() * sizes.frame);
}

void readPcm(benchmark::State& state, const Sizes& sizes) {
    source->frameBytes = sizes.frame;
    for (auto _ : state)
        if (!readFrame(sizes)) state.SkipWithError("VNReadPcm failed");
    state.SetBytesProcessed(state.iterations() * sizes.frame);
}

/** Allocations of VNReadPcm over 1000 frames beyond those of the source, which allocates each frame. */
long allocationsOfCalls(const Sizes& sizes) {
    constexpr int kFrames = 1000;
    source->frameBytes = sizes.frame;
    const std::size_t before = allocationCount();
    for (int i = 0; i < kFrames; ++i)
        if (!copyFrameTwice(*source, sizes)) return -1;
    const std::size_t between = allocationCount();
    for (int i = 0; i < kFrames; ++i)
        if (!readFrame(sizes)) return -1;
    return static_cast<long>(allocationCount() - between) - static_cast<long>(between - before);
}

}  // namespace

// The plug-in's calls of the factory end here.
IPcmSource* IPcmSource::CreateNew(const char*) {
    return source = new Source;
}

int main(int argc, char** argv) {
    for (const Sizes& sizes : kSizes) {
        const std::string name = sizes.name;
        benchmark::RegisterBenchmark(("two_copies_" + name).c_str(), copyTwice, sizes);
        benchmark::RegisterBenchmark(("VNReadPcm_" + name).c_str(), readPcm, sizes);
    }
    benchmark::Initialize(&argc, argv);
    if (VNAcquire(VNRES_PCM_SOURCE, &handle) != VNRES_SUCCEED || !source) return 1;

    MedianReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    auto& medians = reporter.medians;
    if (medians.size() != 2 * std::size(kSizes)) return 1;
    for (const Sizes& sizes : kSizes) {
        const std::string name = sizes.name;
        std::printf("pcm_percent_%s %.1f\n", sizes.name,
                    100 * medians["two_copies_" + name] / medians["VNReadPcm_" + name]);
    }
    long allocations = 0;
    for (const Sizes& sizes : kSizes) {
        const long more = allocationsOfCalls(sizes);
        if (more < 0) return 1;
        allocations += more;
    }
    std::printf("pcm_allocations %ld\n", allocations);
    return VNRelease(handle) == VNRES_SUCCEED ? 0 : 1;
}
