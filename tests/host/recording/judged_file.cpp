#include "judged_file.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <map>
#include <numbers>
#include <sstream>

#include "command_output.h"
#include "picture_probe.h"

namespace {

constexpr int kRate = 48000;
constexpr int kUnitSamples = 1024;

constexpr int kSide = kRate / 50;

/** The test tone around the beginning of a beep: at a whole second both pitches restart their phase. */
const std::array<float, 2 * kSide>& beepBeginning() {
    static const auto made = [] {
        std::array<float, 2 * kSide> samples{};
        for (int n = -kSide; n < kSide; ++n) {
            const double hertz = n < 0 ? 440 : 1000;
            samples[static_cast<std::size_t>(n + kSide)] =
                static_cast<float>(std::sin(2 * std::numbers::pi * hertz * n / kRate));
        }
        return samples;
    }();
    return made;
}

/** Correlation of the samples around `at` with the beginning of a beep, from -1 to 1. */
float correlation(const std::vector<float>& samples, std::size_t at) {
    if (at < kSide || at + kSide > samples.size()) return -1;
    const float* const expected = beepBeginning().data();
    const float* const heard = samples.data() + at - kSide;
    float product = 0;
    float energy = 1e-9F;
    for (int n = 0; n < 2 * kSide; ++n) {
        product += expected[n] * heard[n];
        energy += heard[n] * heard[n];
    }
    return product / std::sqrt(energy * kSide);
}

}  // namespace

std::vector<std::filesystem::path> filesIn(const std::filesystem::path& folder) {
    std::multimap<std::filesystem::file_time_type, std::filesystem::path> byTime;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        // A file being renamed right now is found under its new name next time.
        std::error_code gone;
        const auto time = std::filesystem::last_write_time(entry.path(), gone);
        if (!gone) byTime.emplace(time, entry.path());
    }
    std::vector<std::filesystem::path> files;
    for (const auto& [time, path] : byTime) files.push_back(path);
    return files;
}

JudgedFile::JudgedFile(const std::filesystem::path& path, int width, int height, bool ofTestSources)
    : path_(path) {
    EXPECT_EQ(outputOf("ffmpeg -v warning -xerror -i '" + path.string() + "' -fps_mode vfr -f null -"), "")
        << path;
    video_ = readPackets("v:0");
    audio_ = readPackets("a:0");
    if (!ofTestSources) return;
    readPictures(width, height);
    readSound();
}

std::vector<JudgedFile::Packet> JudgedFile::readPackets(const char* stream) const {
    std::istringstream lines(
        outputOf("ffprobe -v error -select_streams " + std::string(stream) +
                 " -show_entries packet=pts_time,duration_time,size,flags -of compact=p=0:nk=1 '" +
                 path_.string() + "'"));
    std::vector<Packet> packets;
    for (std::string line; std::getline(lines, line);) {
        if (line.empty()) continue;
        // ffprobe reports "N/A" for the first packet, whatever the file says.
        if (const std::size_t none = line.find("N/A"); none != line.npos) line.replace(none, 3, "0");
        Packet packet{};
        char flags[8] = "";
        EXPECT_EQ(
            std::sscanf(line.c_str(), "%lf|%lf|%d|%7s", &packet.time, &packet.duration, &packet.size, flags),
            4)
            << line;
        packet.key = flags[0] == 'K';
        packets.push_back(packet);
    }
    return packets;
}

void JudgedFile::readPictures(int width, int height) {
    const std::string raw = outputOf("ffmpeg -v quiet -i '" + path_.string() +
                                     "' -map 0:v -fps_mode passthrough -f rawvideo -pix_fmt gray -");
    const auto size = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    EXPECT_EQ(raw.size(), size * video_.size());
    for (std::size_t i = 0; i < video_.size() && (i + 1) * size <= raw.size(); ++i) {
        const LumaPlane luma{reinterpret_cast<const std::uint8_t*>(raw.data() + i * size), width, width,
                             height};
        const auto number = readPictureNumber(luma);
        EXPECT_TRUE(number) << path_ << ": picture " << i << " has no readable number";
        pictures_.push_back({video_[i].time, number ? *number : -1, isFlashLit(luma)});
    }
}

void JudgedFile::readSound() {
    if (audio_.empty()) return;
    const std::string raw = outputOf("ffmpeg -v quiet -i '" + path_.string() + "' -map 0:a -ac 1 -f f32le -");
    samples_.resize(raw.size() / sizeof(float));
    std::memcpy(samples_.data(), raw.data(), samples_.size() * sizeof(float));
    EXPECT_EQ(samples_.size(), audio_.size() * kUnitSamples);
}

std::vector<double> JudgedFile::flashes() const {
    std::vector<double> found;
    for (std::size_t i = 1; i < pictures_.size(); ++i) {
        if (pictures_[i].flash && !pictures_[i - 1].flash) found.push_back(pictures_[i].time);
    }
    return found;
}

std::vector<double> JudgedFile::beeps() const {
    constexpr float kLike = 0.85F;
    constexpr std::size_t kStep = 4;
    std::vector<double> found;
    for (std::size_t at = 0; at < samples_.size(); at += kStep) {
        if (correlation(samples_, at) < kLike) continue;
        std::size_t best = at;
        for (std::size_t next = at; next < at + kSide; ++next) {
            if (correlation(samples_, next) > correlation(samples_, best)) best = next;
        }
        // There may be gaps between packets.
        const Packet& packet = audio_[best / kUnitSamples];
        found.push_back(packet.time + static_cast<double>(best % kUnitSamples) / kRate);
        at += kRate / 2;
    }
    return found;
}

double JudgedFile::length() const {
    return video_.empty() ? 0 : video_.back().time + video_.back().duration - video_.front().time;
}

double JudgedFile::wholeLength() const {
    double begin = std::numeric_limits<double>::max(), end = 0;
    for (const auto* const packets : {&video_, &audio_}) {
        for (const Packet& packet : *packets) {
            begin = std::min(begin, packet.time);
            end = std::max(end, packet.time + packet.duration);
        }
    }
    return std::max(0.0, end - begin);
}

int JudgedFile::parameterBytes() const {
    return std::atoi(outputOf("ffprobe -v error -select_streams v:0 -show_entries stream=extradata_size "
                              "-of default=nk=1:nw=1 '" +
                              path_.string() + "'")
                         .c_str());
}
