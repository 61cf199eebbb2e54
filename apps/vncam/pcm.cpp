#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <future>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "blocking_call.h"
#include "command.h"
#include "interrupt.h"
#include "level_meter.h"
#include "message.h"
#include "options.h"
#include "output.h"
#include "resource.h"
#include "terminal.h"
#include "values.h"
#include "volume_keys.h"
#include "waiting.h"
#include "wav_writer.h"

namespace vncam {
namespace {

using namespace std::chrono_literals;

/** How long a stop request waits for a microphone that delivers nothing. */
constexpr auto kSilenceTimeout = 2s;
constexpr int kBlocksPerSecond = 50;

constexpr Usage kPcmUsage{"pcm", "",
                          "Captures the microphone and writes its samples, or shows its level alone.",
                          "FILE may be - for standard output: vncam pcm -o - | ffplay -\n"
                          "On a terminal the keys + and - change the volume of the microphone, m mutes it.\n"
                          "Capturing ends after --seconds or on Ctrl-C; the file is complete either way."};

struct PcmSettings {
    int rate = 48000;
    int channels = 1;
    double seconds = 0; /**< 0: no end */
    std::string file;   /**< "-" or empty for none */
    bool isRaw = false;
    bool isQuiet = false;

    std::size_t frameBytes() const { return static_cast<std::size_t>(channels) * sizeof(std::int16_t); }
};

/** Destination of the samples: a WAV file, a raw file or none. */
class Sink {
  public:
    explicit Sink(const PcmSettings& settings) {
        if (settings.file.empty()) return;
        output_.emplace(settings.file);
        if (!settings.isRaw) wav_.emplace(*output_, settings.rate, settings.channels);
    }

    void write(const char* samples, std::size_t bytes) {
        if (wav_)
            wav_->write(samples, bytes);
        else if (output_)
            output_->write(samples, bytes);
    }
    void close() {
        if (wav_) wav_->finish();
        if (output_) output_->close();
    }
    std::string name() const { return output_ ? output_->name() : "microphone"; }

  private:
    std::optional<Output> output_;
    std::optional<WavWriter> wav_;
};

/** Reads the microphone in a thread of its own and writes the samples to a sink. */
class Capture {
  public:
    explicit Capture(const PcmSettings& settings)
        : settings_(settings),
          source_(VNRES_PCM_SOURCE),
          inbox_(source_.id()),
          sink_(settings),
          mostFrames_(settings.seconds > 0
                          ? static_cast<std::uint64_t>(std::llround(settings.seconds * settings.rate))
                          : std::numeric_limits<std::uint64_t>::max()) {
        check(VNSetAudio(source_.id(), settings.rate, settings.channels), "VNSetAudio");
    }
    ~Capture() {
        // Stopping the source ends the reading thread.
        VNStop(source_.id());
    }
    Capture(const Capture&) = delete;
    Capture& operator=(const Capture&) = delete;

    /** Captures until the end; false when the reader of a pipe closed it. */
    bool run() {
        source_.start();
        reading_ = std::async(std::launch::async, [this] { readAll(); });
        watch();
        clearProgress();
        return finish();
    }

    std::string summary() const {
        return sink_.name() + ": " + std::to_string(frames_) + " samples, " + lengthText(second()) +
               ", peak " + decibelText(meter_.peak()) + ", " + countText(lost_, "frame") + " lost";
    }

  private:
    double second() const { return static_cast<double>(frames_) / settings_.rate; }

    void readAll() {
        // A whole frame of 20 ms, so that no block is shorter than asked for.
        const auto blockFrames = static_cast<std::size_t>(settings_.rate / kBlocksPerSecond);
        std::vector<std::int16_t> block(blockFrames * static_cast<std::size_t>(settings_.channels));
        while (!stopRequested() && frames_ < mostFrames_) {
            int bytes = 0;
            const int result = read_.make([&] {
                return VNReadPcm(source_.id(), block.data(), static_cast<int>(block.size() * sizeof block[0]),
                                 &bytes);
            });
            if (isCut_) return;
            check(result, "VNReadPcm");
            const std::size_t frames = std::min<std::uint64_t>(
                static_cast<std::size_t>(bytes) / settings_.frameBytes(), mostFrames_ - frames_);
            meter_.add(block.data(), frames * static_cast<std::size_t>(settings_.channels));
            sink_.write(reinterpret_cast<const char*>(block.data()), frames * settings_.frameBytes());
            frames_ += frames;
        }
    }

    void watch() {
        VolumeKeys keys(SoundDevice::microphone());
        while (reading_.wait_for(kPollInterval) != std::future_status::ready) {
            keys.poll();
            listen();
            if (!settings_.isQuiet) showProgress(progressText(keys.device()));
            if (stopRequested() && read_.lasting() > kSilenceTimeout) {
                isCut_ = true;
                VNStop(source_.id());
            }
        }
    }

    std::string progressText(const SoundDevice& device) {
        std::string text = "vncam pcm  " + clockText(second());
        if (settings_.seconds > 0) text += " / " + clockText(settings_.seconds);
        return text + "  " + device.text() + "  " + meterText(meter_.takePeak());
    }

    void listen(std::chrono::milliseconds limit = 0ms) {
        while (const auto message = inbox_.next(limit)) {
            const std::string name = messageValue(*message, "name");
            if (name == "stopped") {
                isStopped_ = true;
                return;
            }
            if (name == "frameLost") lost_ += std::stoull("0" + messageValue(*message, "lost"));
            if (name == "deviceLost")
                report("pcm", "the audio device " + messageValue(*message, "device") + " is lost");
        }
    }

    /** Keeps what was captured, whatever ended the capture. */
    bool finish() {
        VNStop(source_.id());
        constexpr auto kMessageTimeout = 1s;
        if (!isStopped_) listen(kMessageTimeout);
        try {
            reading_.get();
        } catch (const ClosedPipe&) {
            return false;
        } catch (const Failure&) {
            sink_.close();
            throw;
        }
        sink_.close();
        return true;
    }

    const PcmSettings& settings_;
    const Resource source_;
    Inbox inbox_;
    Sink sink_;
    const std::uint64_t mostFrames_; /**< samples of each channel */
    LevelMeter meter_;
    std::atomic<std::uint64_t> frames_{0};
    BlockingCall read_;
    std::atomic<bool> isCut_{false};
    std::uint64_t lost_ = 0;
    bool isStopped_ = false;
    std::future<void> reading_;
};

std::optional<PcmSettings> parsePcm(int argc, char** argv) {
    PcmSettings settings;
    const std::vector<Option> options = {
        {"output", "FILE", "write a WAV file of 16-bit samples",
         [&](const std::string& text) {
             if (text.empty()) throw UsageError("--output needs a file name");
             settings.file = text;
         },
         'o'},
        {"raw", nullptr, "write raw samples instead, little-endian and interleaved",
         [&](const std::string&) { settings.isRaw = true; }},
        {"rate", "HZ", "samples per second (48000)",
         [&](const std::string& text) { settings.rate = parseInteger("--rate", text, 8000, 192000); }},
        {"channels", "N", "channels (1)",
         [&](const std::string& text) { settings.channels = parseInteger("--channels", text, 1, 2); }},
        {"seconds", "S", "length of the capture; 0 for no end (0)",
         [&](const std::string& text) { settings.seconds = parseSeconds("--seconds", text); }},
        {"quiet", nullptr, "no progress and no summary",
         [&](const std::string&) { settings.isQuiet = true; }},
    };
    std::vector<std::string> operands;
    if (!parseOptions(argc, argv, kPcmUsage, options, operands)) return std::nullopt;
    if (!operands.empty()) throw UsageError("unexpected argument '" + operands.front() + "'");
    if (settings.isRaw && settings.file.empty()) throw UsageError("--raw needs --output");
    return settings;
}

}  // namespace

int runPcm(int argc, char** argv) {
    const auto settings = parsePcm(argc, argv);
    if (!settings) return exitOk;
    Capture capture(*settings);
    if (capture.run() && !settings->isQuiet) report("pcm", capture.summary());
    return exitOk;
}

}  // namespace vncam
