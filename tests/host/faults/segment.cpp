#include "segment.h"

#include <cmath>

namespace kep::host {
namespace {

constexpr double kMillisecond = 0.001;

}  // namespace

Segment::Segment(const std::filesystem::path& where)
    : path(where), file(where.string()), pictures(file.decodePictures()), sound(file.decodeSound()) {
    EXPECT_TRUE(file.errors().empty()) << path << ": " << file.errors().front();
    EXPECT_FALSE(pictures.empty()) << path;
}

testing::AssertionResult Segment::isHeardThroughout() const {
    constexpr double kUnit = 1024.0 / 48000;
    double time = file.video().begin();
    const auto silence = [&](double next) {
        return testing::AssertionFailure() << path << " has no audio from " << time << " to " << next << " s";
    };
    for (const auto& packet : file.audio().packets) {
        const double next = file.audio().seconds(packet->pts);
        if (next > time + kUnit + kMillisecond) return silence(next);
        time = next;
    }
    const double end = file.video().end();
    if (time + 2 * kUnit > end) return testing::AssertionSuccess();
    return silence(end);
}

void expectToFollow(const std::vector<Segment>& segments, double length, int lost) {
    ASSERT_FALSE(segments.empty());
    std::int64_t last = -1;
    std::int64_t missing = 0;
    for (const Segment& segment : segments) {
        for (const RecordedPicture& picture : segment.pictures) {
            ASSERT_TRUE(picture.number) << segment.path;
            ASSERT_GT(*picture.number, last) << segment.path;
            if (last >= 0) missing += *picture.number - last - 1;
            last = *picture.number;
        }
        if (&segment == &segments.back()) continue;
        // With losses, the cut is at the nearest picture left, or at the end of the gap.
        EXPECT_NEAR(segment.length(), length, (lost > 0 ? (1 + lost) * kPicture : 0) + 2 * kMillisecond)
            << segment.path;
    }
    EXPECT_EQ(missing, lost);
}

int expectInStep(const Segment& segment) {
    int compared = 0;
    const std::vector<double> beeps = beepsOf(segment.sound);
    for (std::size_t i = 1; i < segment.pictures.size(); ++i) {
        const RecordedPicture& before = segment.pictures[i - 1];
        const RecordedPicture& picture = segment.pictures[i];
        // If the first picture of a flash is missing, its time is unknown.
        if (before.lit || !picture.lit || *picture.number != *before.number + 1) continue;
        for (const double beep : beeps) {
            if (std::abs(picture.time - beep) > 0.5) continue;
            EXPECT_NEAR(picture.time, beep, kMillisecond) << segment.path;
            ++compared;
        }
    }
    return compared;
}

}  // namespace kep::host
