/**
 * Cost of the C interface: each call compared with the framework call that it makes. The last lines give the
 * ratio and the difference of the medians.
 */
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "kep/status.h"
#include "kep/streaming.h"
#include "median_reporter.h"
#include "vornisa_api.h"

namespace {

using namespace kep::api::streaming;
using common::frame_t;

constexpr int kFrameBytes = 16 * 1024;
/** Together larger than a level-2 cache: real frames come from another core's encoder. */
constexpr std::size_t kFrames = 512;

class Source : public virtual common::IStreamControl, public kep::stream::IStatus, public IH264Source {
  public:
    Source() : data_(kFrames) {
        for (auto& frame : data_) frame.fill(0x5a);
    }

    bool ChangeUp(kep::State) override { return true; }
    bool ChangeDown(kep::State) override { return true; }
    bool RegisterMessageCallback(const std::function<bool(const char*)>&) override { return true; }
    bool StatusIsPlay() const override { return true; }

    bool IsSupportedPullFrame() override { return true; }
    // Not inlined: the framework is a separate library, for a direct caller as for the API.
    [[gnu::noinline]] bool PullFrame(std::shared_ptr<frame_t>& frame, bool) override {
        frame = std::make_shared<frame_t>();
        frame->data = data_[next_++ % kFrames].data();
        frame->size = kFrameBytes;
        frame->release = [this](frame_t*) { ++released_; };
        return true;
    }

    void SetWidth(int) override {}
    void SetHeight(int) override {}
    [[gnu::noinline]] void SetBitRate(int bitsPerSecond) override {
        benchmark::DoNotOptimize(bitRate_ = bitsPerSecond);
    }
    void SetFrameRate(int) override {}
    void SetGop(int) override {}
    void RequestKeyFrame() override {}

  private:
    std::vector<std::array<unsigned char, kFrameBytes>> data_;
    std::size_t next_ = 0;
    std::size_t released_ = 0;
    int bitRate_ = 0;
};

Source* source = nullptr;
int handle = 0;
char buffer[kFrameBytes];

bool pullAndCopy(common::IStreamOutput& output) {
    std::shared_ptr<frame_t> frame;
    if (!output.PullFrame(frame, true)) return false;
    std::memcpy(buffer, frame->data, static_cast<std::size_t>(frame->size));
    benchmark::ClobberMemory();
    return true;
}

bool readFrame() {
    int length = 0;
    const bool read =
        VNRead(handle, buffer, sizeof buffer, 1, &length) == VNRES_SUCCEED && length == kFrameBytes;
    benchmark::ClobberMemory();
    return read;
}

void readDirectly(benchmark::State& state) {
    common::IStreamOutput* output = source;
    benchmark::DoNotOptimize(output);
    for (auto _ : state)
        if (!pullAndCopy(*output)) state.SkipWithError("pull failed");
}

void readByApi(benchmark::State& state) {
    for (auto _ : state)
        if (!readFrame()) state.SkipWithError("VNRead failed");
}

/** Nanoseconds that kFrames calls take. */
template <class Call>
double timeOf(Call call) {
    using Clock = std::chrono::steady_clock;
    const auto begin = Clock::now();
    for (std::size_t i = 0; i < kFrames; ++i)
        if (!call()) std::exit(1);
    return std::chrono::duration<double, std::nano>(Clock::now() - begin).count();
}

/** Alternates VNRead and the direct pull and copy, so that changes of the machine's speed affect both. */
double readRatio() {
    common::IStreamOutput* output = source;
    benchmark::DoNotOptimize(output);
    std::vector<double> ratios;
    for (int pair = 0; pair < 2001; ++pair) {
        const double direct = timeOf([output] { return pullAndCopy(*output); });
        ratios.push_back(timeOf(readFrame) / direct);
    }
    std::nth_element(ratios.begin(), ratios.begin() + 1000, ratios.end());
    return ratios[1000];
}

void setDirectly(benchmark::State& state) {
    common::IEncoder* encoder = source;
    benchmark::DoNotOptimize(encoder);
    for (auto _ : state) encoder->SetBitRate(2000000);
}

void setByApi(benchmark::State& state) {
    for (auto _ : state)
        if (VNSetBps(handle, 2000000) != VNRES_SUCCEED) state.SkipWithError("VNSetBps failed");
}

}  // namespace

// Replaces the framework's factory for the plug-in.
IH264Source* IH264Source::CreateNew(const char*) {
    return source = new Source;
}

int main(int argc, char** argv) {
    benchmark::RegisterBenchmark("read_directly", readDirectly);
    benchmark::RegisterBenchmark("VNRead", readByApi);
    benchmark::RegisterBenchmark("set_directly", setDirectly);
    benchmark::RegisterBenchmark("VNSetBps", setByApi);
    benchmark::Initialize(&argc, argv);
    if (VNAcquire(VNRES_H264_SOURCE, &handle) != VNRES_SUCCEED || !source) return 1;

    MedianReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    auto& medians = reporter.medians;
    if (medians.size() != 4) return 1;
    std::printf("api_read_ratio %.3f\napi_set_ns %.1f\n", readRatio(),
                medians["VNSetBps"] - medians["set_directly"]);
    return VNRelease(handle) == VNRES_SUCCEED ? 0 : 1;
}
