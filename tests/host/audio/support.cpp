#include "support.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <numbers>

namespace audio_test {

ScopedEnv::ScopedEnv(const char* name, const std::optional<std::string>& value) : name_(name) {
    if (const char* set = std::getenv(name)) before_ = set;
    if (value)
        setenv(name, value->c_str(), 1);
    else
        unsetenv(name);
}

ScopedEnv::~ScopedEnv() {
    if (before_)
        setenv(name_.c_str(), before_->c_str(), 1);
    else
        unsetenv(name_.c_str());
}

ScopedFolder::ScopedFolder() {
    std::string pattern = std::filesystem::temp_directory_path() / "audioXXXXXX";
    path_ = mkdtemp(pattern.data());
}

ScopedFolder::~ScopedFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::vector<Frame> pullFrames(Output& source, int count) {
    std::vector<Frame> frames;
    for (Frame frame; static_cast<int>(frames.size()) < count && source.PullFrame(frame, true);)
        frames.push_back(std::move(frame));
    return frames;
}

std::string bytesOf(const std::vector<Frame>& frames) {
    std::string bytes;
    for (const Frame& frame : frames)
        bytes.append(reinterpret_cast<const char*>(frame->data), static_cast<std::size_t>(frame->size));
    return bytes;
}

std::vector<std::int16_t> samplesOf(const std::vector<Frame>& frames) {
    const std::string bytes = bytesOf(frames);
    std::vector<std::int16_t> samples(bytes.size() / sizeof(std::int16_t));
    std::memcpy(samples.data(), bytes.data(), samples.size() * sizeof(std::int16_t));
    return samples;
}

double secondsOf(Clock::time_point time) {
    // The days of a long uptime would cost digits that the phase needs.
    const auto since = time.time_since_epoch() % std::chrono::hours(1);
    return std::chrono::duration<double>(since).count();
}

Pitch pitchOf(const std::int16_t* samples, std::size_t frames, int channels, int rate, double hertz,
              double start) {
    std::complex<double> sum = 0;
    for (std::size_t index = 0; index < frames; ++index) {
        const double time = start + static_cast<double>(index) / rate;
        sum += double(samples[index * static_cast<std::size_t>(channels)]) *
               std::polar(1.0, -2 * std::numbers::pi * std::fmod(hertz * time, 1.0));
    }
    sum *= 2.0 / static_cast<double>(frames);
    return {std::abs(sum), std::arg(sum)};
}

double phaseDistance(double left, double right) {
    return std::abs(std::remainder(left - right, 2 * std::numbers::pi));
}

Signal signalAt(double start, double seconds) {
    const double begin = start - std::floor(start);
    if (begin >= 0.1 && begin + seconds <= 1.0) return Signal::tone;
    return begin + seconds <= 0.1 ? Signal::beep : Signal::both;
}

std::string wavOf(const std::vector<std::int16_t>& samples, int rate, int channels) {
    std::string bytes;
    const auto number = [&bytes](std::uint32_t value, int size) {
        for (int index = 0; index < size; ++index) bytes += static_cast<char>(value >> (8 * index));
    };
    const auto data = static_cast<std::uint32_t>(samples.size() * 2);
    bytes = "RIFF";
    number(data + 36, 4);
    bytes += "WAVEfmt ";
    number(16, 4);
    number(1, 2);
    number(static_cast<std::uint32_t>(channels), 2);
    number(static_cast<std::uint32_t>(rate), 4);
    number(static_cast<std::uint32_t>(rate * channels * 2), 4);
    number(static_cast<std::uint32_t>(channels * 2), 2);
    number(16, 2);
    bytes += "data";
    number(data, 4);
    bytes.append(reinterpret_cast<const char*>(samples.data()), data);
    return bytes;
}

void writeFile(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

}  // namespace audio_test
