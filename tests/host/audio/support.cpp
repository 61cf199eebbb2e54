#include "support.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <numbers>
#include <sstream>
#include <thread>

namespace audio_test {

bool waitFor(const std::function<bool()>& condition) {
    const auto end = Clock::now() + kLimit;
    while (!condition()) {
        if (Clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

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

ErrorLines::ErrorLines() : before_(dup(2)), file_(memfd_create("errors", MFD_CLOEXEC)) {
    dup2(file_, 2);
}

ErrorLines::~ErrorLines() {
    dup2(before_, 2);
    const std::string written = text();
    if (::testing::Test::HasFailure()) std::fputs(written.c_str(), stderr);
    close(before_);
    close(file_);
}

std::string ErrorLines::text() const {
    std::string all(static_cast<std::size_t>(std::max<off_t>(lseek(file_, 0, SEEK_END), 0)), '\0');
    const ssize_t got = pread(file_, all.data(), all.size(), 0);
    all.resize(static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    return all;
}

int ErrorLines::count(const std::string& part) const {
    std::istringstream lines(text());
    int found = 0;
    for (std::string line; std::getline(lines, line);) found += line.find(part) != std::string::npos;
    return found;
}

Messages::Messages(Control& stream) {
    stream.RegisterMessageCallback([shared = shared_](const char* text) {
        {
            const std::lock_guard lock(shared->mutex);
            shared->texts.emplace_back(text);
        }
        shared->came.notify_all();
        return true;
    });
}

std::optional<std::string> Messages::waitForOne(const std::string& part) {
    std::optional<std::string> found;
    std::unique_lock lock(shared_->mutex);
    shared_->came.wait_until(lock, Clock::now() + kLimit, [&] {
        for (const std::string& text : shared_->texts)
            if (!found && text.find(part) != std::string::npos) found = text;
        return found.has_value();
    });
    return found;
}

std::vector<std::string> Messages::all() const {
    const std::lock_guard lock(shared_->mutex);
    return shared_->texts;
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
    // The whole days of a long-running machine would take away digits that a phase needs.
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

std::string outputOf(const std::string& command) {
    std::string output;
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) {
        ADD_FAILURE() << "cannot run " << command;
        return output;
    }
    char part[4096];
    while (const std::size_t got = std::fread(part, 1, sizeof part, pipe)) output.append(part, got);
    EXPECT_EQ(pclose(pipe), 0) << command;
    return output;
}

namespace {

int entriesOf(const char* folder) {
    const std::filesystem::directory_iterator entries(folder);
    return static_cast<int>(std::distance(begin(entries), end(entries)));
}

}  // namespace

int openDescriptors() {
    return entriesOf("/proc/self/fd");
}
int runningThreads() {
    return entriesOf("/proc/self/task");
}

}  // namespace audio_test
