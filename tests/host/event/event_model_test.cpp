#include <random>

#include "event_fixture.h"
#include "sanitizers.h"

namespace kep::host {
namespace {

/** Two rounds are enough for the thread sanitizer. */
constexpr int kRounds = kThreadSanitizer ? 2 : 10;
constexpr int kTriggers = 100;
/** In ms, longer than any clip reaches back, so that none begins late. */
constexpr int kLead = 14'000;
constexpr int kStep = 400;

struct Asked {
    std::string url;
    SteadyTime begin;
    SteadyTime end;
};

class EventModelTest : public testing::Test {
  protected:
    int any(int from, int to) { return std::uniform_int_distribution(from, to)(random_); }

    void trigger(Service& service, const SyntheticStream& stream) {
        const int pre = any(0, 12'000);
        const int post = any(0, 10'000);
        // Up to two seconds late, or half a second ahead.
        const SteadyTime point =
            std::chrono::floor<milliseconds>(stream.now()) + milliseconds(any(-2'000, 500));
        const std::string url = "file:///" + std::to_string(asked_.size()) + ".mp4";
        ASSERT_TRUE(service.trigger(std::to_string(pre) + "ms", std::to_string(post) + "ms",
                                    std::to_string(point.time_since_epoch() / milliseconds(1)) + "ms", url));
        asked_.push_back({url, point - milliseconds(pre), point + milliseconds(post)});
    }

    /** The number of packets due so far in all clips together. */
    std::size_t due(const SyntheticStream& stream) const {
        std::size_t sum = 0;
        for (const Asked& asked : asked_) sum += clipOf(stream.given(), asked.begin, asked.end).size();
        return sum;
    }

    std::mt19937 random_{20'241};
    std::vector<Asked> asked_;
};

std::size_t written(TestClips& clips) {
    std::size_t sum = 0;
    for (const auto& clip : clips.clips()) sum += clip.packets.size();
    return sum;
}

TEST_F(EventModelTest, EachOfManyClipsIsAsAsked) {
    const ErrorLines lines;
    for (int round = 0; round < kRounds; ++round) {
        asked_.clear();
        Service service;
        SyntheticStream stream(service.source());
        stream.run(kLead);
        while (asked_.size() < kTriggers) {
            stream.setGroup(any(1, 60));
            stream.run(any(1, kStep));
            trigger(service, stream);
            // The test runs the stream faster than real time: wait for the clips' thread to keep up.
            if (asked_.size() % 10 > 0) continue;
            ASSERT_TRUE(waitUntil([&] { return written(service.clips()) >= due(stream); }));
        }
        stream.run(11'000);
        ASSERT_TRUE(service.clips().waitForFinished(kTriggers));
        const auto clips = service.clips().clips();
        ASSERT_EQ(clips.size(), asked_.size());
        for (const auto& clip : clips) {
            const auto asked = std::find_if(asked_.begin(), asked_.end(),
                                            [&](const Asked& one) { return one.url == clip.url; });
            ASSERT_NE(asked, asked_.end());
            const std::string which = "round " + std::to_string(round) + ", " + clip.url;
            ASSERT_FALSE(clip.packets.empty()) << which;
            EXPECT_TRUE(clip.packets.front()->isVideo() && clip.packets.front()->key) << which;
            EXPECT_LE(clip.packets.front()->stamp, asked->begin) << which;
            EXPECT_LE(clip.packets.back()->stamp, asked->end) << which;
            EXPECT_TRUE(clip.packets == clipOf(stream.given(), asked->begin, asked->end)) << which;
        }
    }
    EXPECT_THAT(lines.messages(), testing::IsEmpty());
}

}  // namespace
}  // namespace kep::host
