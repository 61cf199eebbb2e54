/** Time and allocations of VNReadPcm, compared with two plain copies of the same frames. */
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <random>
#include <vector>

#include "allocation_count.h"
#include "kep/streaming.h"
#include "median_reporter.h"
#include "vornisa_api.h"

namespace {

using namespace kep::api::streaming;
using common::frame_t;

constexpr int kCapacity = 131072;

/** Frames are multiples of blocks: a shorter block would log a line, whose cost is not to be measured. */
struct Sizes {
    const char* name;
    std::vector<int> frames; /**< used in a cycle */
    int block;               /**< 0 for whole frames */

    int blockOf(int frame) const { return block > 0 ? block : frame; }
};

/** Sizes of every order of magnitude up to 128 KiB. */
std::vector<int> randomFrames() {
    std::mt19937 random(1);
    std::vector<int> frames(4096);
    for (int& frame : frames) {
        const auto bound = 2U << random() % 17;
        frame = 1 + static_cast<int>(random() % bound);
    }
    return frames;
}

/** 20 ms of 16 kHz mono; 20 ms of 48 kHz stereo, whole and in quarters; a bulk reader; random sizes. */
const Sizes kSizes[] = {{"frames_640_blocks_640", {640}, 640},
                        {"frames_3840_blocks_3840", {3840}, 3840},
                        {"frames_3840_blocks_960", {3840}, 960},
                        {"frames_65536_blocks_4096", {65536}, 4096},
                        {"frames_random", randomFrames(), 0}};

/** Larger than a level-2 cache: real frames come from another core. */
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

/** The next frame of `sizes` in two plain copies; its length, or 0 when there is none. */
int copyFrameTwice(common::IStreamOutput& output, const Sizes& sizes, std::size_t number) {
    source->frameBytes = sizes.frames[number];
    std::shared_ptr<frame_t> frame;
    if (!output.PullFrame(frame, true)) return 0;
    std::memcpy(store, frame->data, static_cast<std::size_t>(frame->size));
    benchmark::ClobberMemory();
    const int bytes = sizes.blockOf(frame->size);
    for (int at = 0; at < frame->size; at += bytes) {
        std::memcpy(block, store + at, static_cast<std::size_t>(bytes));
        benchmark::ClobberMemory();
    }
    return frame->size;
}

/** The next frame of `sizes` by VNReadPcm; its length, or 0 when a call fails. */
int readFrame(const Sizes& sizes, std::size_t number) {
    const int frame = sizes.frames[number];
    source->frameBytes = frame;
    const int bytes = sizes.blockOf(frame);
    for (int at = 0; at < frame; at += bytes) {
        int length = 0;
        if (VNReadPcm(handle, block, bytes, &length) != VNRES_SUCCEED || length != bytes) return 0;
        benchmark::ClobberMemory();
    }
    return frame;
}

/** Passes all frames of `sizes` in each iteration. */
template <class Call>
void passFrames(benchmark::State& state, const Sizes& sizes, Call&& call) {
    std::int64_t bytes = 0;
    for (auto _ : state) {
        for (std::size_t number = 0; number < sizes.frames.size(); ++number) {
            const int passed = call(number);
            if (passed == 0) state.SkipWithError("a frame is missing");
            bytes += passed;
        }
    }
    state.SetBytesProcessed(bytes);
}

void copyTwice(benchmark::State& state, const Sizes& sizes) {
    common::IStreamOutput* output = source;
    benchmark::DoNotOptimize(output);
    passFrames(state, sizes, [&](std::size_t number) { return copyFrameTwice(*output, sizes, number); });
}

void readPcm(benchmark::State& state, const Sizes& sizes) {
    passFrames(state, sizes, [&](std::size_t number) { return readFrame(sizes, number); });
}

/** Allocations of VNReadPcm over 1000 frames beyond those of the source, which allocates each frame. */
long allocationsOfCalls(const Sizes& sizes) {
    constexpr std::size_t kFrames = 1000;
    const std::size_t before = allocationCount();
    for (std::size_t i = 0; i < kFrames; ++i)
        if (copyFrameTwice(*source, sizes, i % sizes.frames.size()) == 0) return -1;
    const std::size_t between = allocationCount();
    for (std::size_t i = 0; i < kFrames; ++i)
        if (readFrame(sizes, i % sizes.frames.size()) == 0) return -1;
    return static_cast<long>(allocationCount() - between) - static_cast<long>(between - before);
}

}  // namespace

// Replaces the framework's factory for the plug-in.
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
