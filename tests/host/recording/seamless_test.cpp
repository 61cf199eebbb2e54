#include <vector>

#include "objects/class_registry.h"
#include "pipeline_fixture.h"

namespace kep::host {
namespace {

/** Keeps the time stamps of each segment. */
class CutSink final : public Element {
  public:
    ~CutSink() override { retire(); }
    void take(const SharedPacket& packet, const Element&) override { segments.back().push_back(packet); }
    void takeCut(const Element&) override { segments.emplace_back(); }

    std::vector<std::vector<SharedPacket>> segments{1};
};

const ClassRegistration<CutSink> registration("CutSink");

constexpr milliseconds kPicture(40);
const SteadyTime kBegin{std::chrono::hours(1)};

class SeamlessTest : public testing::Test {
  protected:
    void make(const std::string& duration) {
        pipeline_ = std::make_unique<Described>(
            "type=pipeline,layout={TestSource:name=in+VornisaSeamless:name="
            "cut,duration=" +
            duration + "+CutSink:name=out}");
        ASSERT_TRUE(*pipeline_);
        ASSERT_TRUE(pipeline_->play());
    }

    void push(const SharedPacket& packet) { pipeline_->child<TestSource>("in").push(packet); }
    /**
     * Pushes pictures for `span` with a key frame every `group` pictures, and optionally sound between them.
     */
    void film(milliseconds span, int group, milliseconds jitter = {}, bool sound = false) {
        for (int i = 0; i * kPicture < span; ++i) {
            const SteadyTime stamp = kBegin + i * kPicture + (i % 2 == 0 ? jitter : -jitter);
            push(videoPacket(stamp, i % group == 0));
            if (sound) push(audioPacket(stamp + kPicture / 2));
        }
    }
    const std::vector<std::vector<SharedPacket>>& segments() {
        return pipeline_->child<CutSink>("out").segments;
    }
    /** The beginnings of the segments, in milliseconds. */
    std::vector<std::int64_t> starts() {
        std::vector<std::int64_t> found;
        for (const auto& segment : segments()) {
            EXPECT_FALSE(segment.empty());
            if (segment.empty()) continue;
            EXPECT_TRUE(segment.front()->key);
            EXPECT_TRUE(segment.front()->isVideo());
            found.push_back((segment.front()->stamp - kBegin) / milliseconds(1));
        }
        return found;
    }

    std::unique_ptr<Described> pipeline_;
};

TEST_F(SeamlessTest, CutsBeforeTheKeyFrameAtEachMultipleOfTheDuration) {
    make("2s");
    film(milliseconds(9000), 25);
    EXPECT_THAT(starts(), testing::ElementsAre(0, 2000, 4000, 6000, 8000));
}

TEST_F(SeamlessTest, AsksForAKeyFrameAtEachCut) {
    make("2s");
    push(videoPacket(kBegin, true));
    TestSource& source = pipeline_->child<TestSource>("in");
    EXPECT_THAT(source.keyFrameRequests(), testing::ElementsAre(kBegin + milliseconds(2000)));
    push(videoPacket(kBegin + milliseconds(1960), false));
    push(videoPacket(kBegin + milliseconds(2000), true));
    EXPECT_THAT(source.keyFrameRequests(),
                testing::ElementsAre(kBegin + milliseconds(2000), kBegin + milliseconds(4000)));
    // The requested key frame has not arrived in time.
    push(videoPacket(kBegin + milliseconds(4040), false));
    EXPECT_EQ(source.keyFrameRequests().back(), kBegin + milliseconds(4040));
}

TEST_F(SeamlessTest, CutsAtTheFirstKeyFrameAfterAMultipleWithoutDrift) {
    make("1000ms");
    film(milliseconds(6000), 18);
    // Key frames are 720 ms apart.
    EXPECT_THAT(starts(), testing::ElementsAre(0, 1440, 2160, 3600, 4320, 5040));
}

TEST_F(SeamlessTest, CutsAtAKeyFrameThatIsEarlyByAJitter) {
    make("2s");
    film(milliseconds(9000), 25, -milliseconds(1));
    EXPECT_THAT(starts(), testing::ElementsAre(-1, 1999, 3999, 5999, 7999));
}

TEST_F(SeamlessTest, NeitherLosesNorDuplicates) {
    make("1s");
    film(milliseconds(5000), 25, {}, true);
    std::size_t packets = 0;
    for (const auto& segment : segments()) {
        for (const SharedPacket& packet : segment) {
            EXPECT_GE(packet->stamp, segment.front()->stamp);
            ++packets;
        }
    }
    EXPECT_EQ(packets, 2U * 5000 / 40);
    EXPECT_EQ(segments().size(), 5U);
}

TEST_F(SeamlessTest, MakesOneSegmentOfALongGap) {
    make("1s");
    push(videoPacket(kBegin, true));
    push(videoPacket(kBegin + milliseconds(5500), true));
    push(videoPacket(kBegin + milliseconds(5900), true));
    push(videoPacket(kBegin + milliseconds(6000), true));
    EXPECT_THAT(starts(), testing::ElementsAre(0, 5500, 6000));
}

TEST_F(SeamlessTest, CountsFromTheFirstPictureWhenSoundCameBefore) {
    make("1s");
    push(audioPacket(kBegin - milliseconds(300)));
    film(milliseconds(2500), 25);
    ASSERT_EQ(segments().size(), 4U);
    EXPECT_FALSE(segments().front().front()->isVideo());
    EXPECT_EQ((segments()[2].front()->stamp - kBegin) / milliseconds(1), 1000);
}

TEST_F(SeamlessTest, CutsSoundAloneToo) {
    make("1s");
    for (int i = 0; i < 50; ++i) push(audioPacket(kBegin + i * kPicture));
    EXPECT_EQ(segments().size(), 2U);
}

TEST_F(SeamlessTest, RestartsItsCounting) {
    make("2s");
    film(milliseconds(1000), 25);
    ASSERT_TRUE(pipeline_->stop());
    ASSERT_TRUE(pipeline_->play());
    push(videoPacket(kBegin + milliseconds(5000), true));
    EXPECT_EQ(segments().size(), 1U);
}

TEST_F(SeamlessTest, AcceptsMinutes) {
    make("1m");
    push(videoPacket(kBegin, true));
    push(videoPacket(kBegin + milliseconds(59'000), true));
    push(videoPacket(kBegin + milliseconds(60'000), true));
    EXPECT_THAT(starts(), testing::ElementsAre(0, 60'000));
}

TEST(SeamlessRefusals, NameTheDuration) {
    const auto refusal = [](const char* duration) {
        return refusalOf("type=VornisaSeamless,name=cut,duration=" + std::string(duration));
    };
    EXPECT_EQ(refusal("-2s"), "VornisaSeamless \"cut\": duration=-2s is negative");
    EXPECT_EQ(refusal("0s"), "VornisaSeamless \"cut\": duration=0s must be greater than 0");
    EXPECT_EQ(refusal("soon"),
              "VornisaSeamless \"cut\": duration=soon is not a valid time: expected a whole number with unit "
              "s, ms or m");
}

}  // namespace
}  // namespace kep::host
