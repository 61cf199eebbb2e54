#ifndef TESTS_HOST_AUDIO_SUPPORT_H
#define TESTS_HOST_AUDIO_SUPPORT_H

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "command_output.h"
#include "error_lines.h"
#include "file_contents.h"
#include "kep/streaming.h"
#include "stream_fixture.h"
#include "wait_until.h"

namespace audio_test {

using Clock = std::chrono::steady_clock;
using Frame = std::shared_ptr<kep::api::streaming::common::frame_t>;
using kep::host::Messages;
using Output = kep::api::streaming::common::IStreamOutput;

/** Sets an environment variable during its lifetime; unsets it if there is no value. */
class ScopedEnv {
  public:
    ScopedEnv(const char* name, const std::optional<std::string>& value);
    ~ScopedEnv();

  private:
    std::string name_;
    std::optional<std::string> before_;
};

/** A temporary folder, removed with its contents. */
class ScopedFolder {
  public:
    ScopedFolder();
    ~ScopedFolder();
    std::string file(const std::string& name) const { return path_ + "/" + name; }
    const std::string& path() const { return path_; }

  private:
    std::string path_;
};

/** The next `count` frames; fewer if the stream ends. */
std::vector<Frame> pullFrames(Output& source, int count);
std::vector<std::int16_t> samplesOf(const std::vector<Frame>& frames);
std::string bytesOf(const std::vector<Frame>& frames);
/** Seconds of the steady clock within the current hour. */
double secondsOf(Clock::time_point time);

/** Amplitude and phase, relative to the start of the steady clock, of one pitch in one channel. */
struct Pitch {
    double amplitude;
    double phase;
};
Pitch pitchOf(const std::int16_t* samples, std::size_t frames, int channels, int rate, double hertz,
              double start);
/** The distance of two phases, from 0 to pi. */
double phaseDistance(double left, double right);

/** Whether the signal of KEP_HOST_AUDIO=test is only tone, only beep, or changes in this time. */
enum class Signal { tone, beep, both };
Signal signalAt(double start, double seconds);

std::string wavOf(const std::vector<std::int16_t>& samples, int rate, int channels);
void writeFile(const std::string& path, const std::string& bytes);

}  // namespace audio_test

#endif
