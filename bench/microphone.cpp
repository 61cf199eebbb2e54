/**
 * Latency of the microphone: from the capture of a block's first sample to the moment at which a reader has
 * the block of 20 ms.
 *
 *   bench_microphone tone [BLOCKS]
 *       VNReadPcm on the test tone, whose samples lie at fixed times of the steady clock
 *   bench_microphone device SECONDS REFERENCE [NAME COMMAND]...
 *       VNReadPcm on KEP_HOST_AUDIO, compared with commands that write samples of the same device to
 *       standard output. The device must deliver clicks, half a second or more apart. REFERENCE is a
 *       command that writes each sample at once: it gives the time at which a click was captured.
 *   bench_microphone clicks
 *       writes such clicks, one every 507 ms, to standard output until it is closed
 *
 * Prints one figure a line. All samples are 16 bits, 48 kHz, stereo.
 */
#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "vornisa_api.h"

namespace {

using Clock = std::chrono::steady_clock;
using Ms = std::chrono::duration<double, std::milli>;

constexpr int kRate = 48000;
constexpr int kChannels = 2;
constexpr int kFrameBytes = kChannels * 2;
constexpr int kBlockFrames = kRate / 50;
constexpr double kBlockMs = 20;
constexpr double kFramesPerMs = kRate / 1000.0;
/** A tenth of a block: finer than the latencies to be measured. */
constexpr int kReferenceFrames = kBlockFrames / 10;
/** Far above silence and below the clicks. */
constexpr int kClickLevel = 4000;
constexpr double kBetweenClicksMs = 250;

void must(bool holds, const std::string& what) {
    if (holds) return;
    std::fprintf(stderr, "bench_microphone: %s\n", what.c_str());
    std::exit(1);
}

double nowMs() {
    return Ms(Clock::now().time_since_epoch()).count();
}

double percentile(std::vector<double> values, double share) {
    must(!values.empty(), "no latency measured: no clicks or no beep received");
    std::sort(values.begin(), values.end());
    return values[static_cast<std::size_t>(share * static_cast<double>(values.size() - 1))];
}

using Samples = std::vector<std::int16_t>;

/** The microphone by VNReadPcm. */
class Microphone {
  public:
    Microphone() {
        must(VNAcquire(VNRES_PCM_SOURCE, &id_) == VNRES_SUCCEED, "VNAcquire failed");
        must(VNSetAudio(id_, kRate, kChannels) == VNRES_SUCCEED, "VNSetAudio failed");
        must(VNStart(id_) == VNRES_SUCCEED, "VNStart failed");
    }
    Microphone(const Microphone&) = delete;
    Microphone& operator=(const Microphone&) = delete;
    ~Microphone() {
        VNStop(id_);
        VNRelease(id_);
    }

    bool read(Samples& block) {
        int length = 0;
        const int bytes = static_cast<int>(block.size()) * 2;
        return VNReadPcm(id_, block.data(), bytes, &length) == VNRES_SUCCEED && length == bytes;
    }

  private:
    int id_ = 0;
};

/** Samples that a command writes to its standard output. */
class Command {
  public:
    explicit Command(const std::string& command) : pipe_(popen(command.c_str(), "r"), pclose) {
        must(pipe_ != nullptr, command + ": cannot run");
        std::setvbuf(pipe_.get(), nullptr, _IONBF, 0);
    }
    bool read(Samples& block) {
        return std::fread(block.data(), 2, block.size(), pipe_.get()) == block.size();
    }

  private:
    std::unique_ptr<FILE, int (*)(FILE*)> pipe_;
};

/** The test tone: 1000 Hz for 100 ms from each whole second on, else 440 Hz; blocks begin at multiples of 20
 * ms. */
bool isBeep(const Samples& block) {
    int crossings = 0;
    for (std::size_t i = kChannels; i < block.size(); i += kChannels)
        if ((block[i] < 0) != (block[i - kChannels] < 0)) ++crossings;
    return crossings > 30;
}

void measureTone(int blocks) {
    setenv("KEP_HOST_AUDIO", "test", 1);
    Microphone microphone;
    Samples block(kBlockFrames * kChannels);
    std::vector<double> ages;
    bool beeped = true;
    double captured = -1;  // time of the block's first sample, in ms; below 0 before the first whole second
    while (static_cast<int>(ages.size()) < blocks) {
        must(microphone.read(block), "VNReadPcm failed");
        const double now = nowMs();
        const bool beeps = isBeep(block);
        if (captured >= 0) captured += kBlockMs;
        if (beeps && !beeped) {
            const double second = std::floor(now / 1000) * 1000;
            must(captured < 0 || std::abs(captured - second) < 1, "blocks are missing");
            captured = second;
        }
        beeped = beeps;
        if (captured >= 0) ages.push_back(now - captured);
    }
    std::printf("microphone_to_read_ms %.3f\nmicrophone_to_read_99_percent_ms %.3f\n", percentile(ages, 0.5),
                percentile(ages, 0.99));
}

struct Click {
    double arrival; /**< when its block was read, in ms */
    double offset;  /**< from the first sample of the block to the click, in ms */
};

/** Reads blocks until `end` and records the clicks in them. */
template <class Reader>
void listen(Reader& reader, int frames, Clock::time_point end, std::vector<Click>& clicks) {
    Samples block(static_cast<std::size_t>(frames * kChannels));
    double previous = -kBetweenClicksMs;
    while (Clock::now() < end && reader.read(block)) {
        const double now = nowMs();
        const auto loud = std::find_if(block.begin(), block.end(), [](int sample) {
            return sample > kClickLevel || sample < -kClickLevel;
        });
        if (loud == block.end() || now - previous < kBetweenClicksMs) continue;
        previous = now;
        clicks.push_back({now, static_cast<double>((loud - block.begin()) / kChannels) / kFramesPerMs});
    }
}

/** Milliseconds from the capture of the first sample of a block with a click to its arrival. */
std::vector<double> latencies(const std::vector<Click>& clicks, const std::vector<Click>& reference) {
    std::vector<double> values;
    for (const Click& click : clicks) {
        for (const Click& known : reference) {
            if (std::abs(click.arrival - known.arrival) > kBetweenClicksMs) continue;
            const double captured = known.arrival - kReferenceFrames / kFramesPerMs + known.offset;
            values.push_back(click.arrival - captured + click.offset);
        }
    }
    return values;
}

void measureDevice(int seconds, const std::string& reference,
                   const std::vector<std::array<std::string, 2>>& peers) {
    const auto end = Clock::now() + std::chrono::seconds(seconds);
    std::vector<Click> known;
    std::vector<std::vector<Click>> clicks(peers.size() + 1);
    std::vector<std::thread> threads;
    threads.emplace_back([&] {
        Command command(reference);
        listen(command, kReferenceFrames, end, known);
    });
    for (std::size_t i = 0; i < peers.size(); ++i) {
        threads.emplace_back([&, i] {
            Command command(peers[i][1]);
            listen(command, kBlockFrames, end, clicks[i + 1]);
        });
    }
    {
        Microphone microphone;
        listen(microphone, kBlockFrames, end, clicks[0]);
    }
    for (std::thread& thread : threads) thread.join();
    for (std::size_t i = 0; i < clicks.size(); ++i) {
        const std::string name = i == 0 ? "microphone_device" : "microphone_" + peers[i - 1][0];
        const std::vector<double> values = latencies(clicks[i], known);
        if (i == 0) std::printf("%s_again_ms %.3f\n", name.c_str(), percentile(values, 0.5));
        std::printf("%s_ms %.3f\n%s_99_percent_ms %.3f\n%s_clicks %zu\n", name.c_str(),
                    percentile(values, 0.5), name.c_str(), percentile(values, 0.99), name.c_str(),
                    values.size());
    }
}

/** With a period of 507 ms, clicks fall on changing places in a block of 20 ms. Half a millisecond suffices
 * to detect a click. */
constexpr std::int64_t kClickPeriodFrames = kRate * 507 / 1000;
constexpr std::int64_t kClickFrames = kRate / 2000;

void writeClicks() {
    Samples block(kBlockFrames * kChannels);
    std::int64_t frame = 0;
    do {
        for (std::size_t i = 0; i < block.size(); i += kChannels, ++frame)
            block[i] = block[i + 1] = frame % kClickPeriodFrames < kClickFrames ? 26000 : 0;
    } while (std::fwrite(block.data(), 2, block.size(), stdout) == block.size());
}

}  // namespace

int main(int argc, char** argv) {
    const std::string mode = argc > 1 ? argv[1] : "";
    setenv("KEP_HOST_PRERECORD", "attached", 1);
    if (mode == "tone") {
        measureTone(argc > 2 ? std::atoi(argv[2]) : 500);
    } else if (mode == "device" && argc >= 4 && argc % 2 == 0) {
        std::vector<std::array<std::string, 2>> peers;
        for (int i = 4; i + 1 < argc; i += 2) peers.push_back({argv[i], argv[i + 1]});
        measureDevice(std::atoi(argv[2]), argv[3], peers);
    } else if (mode == "clicks") {
        writeClicks();
    } else {
        std::fprintf(stderr,
                     "usage: bench_microphone tone [BLOCKS] | device SECONDS REFERENCE [NAME COMMAND]... | "
                     "clicks\n");
        return 2;
    }
    return 0;
}
