#include "media/pipeline/packet_ring.h"

#include "pipeline_fixture.h"

namespace kep::host {
namespace {

using std::chrono::seconds;

const SteadyTime origin = SteadyTime(seconds(1000));

SteadyTime at(int ms) {
    return origin + milliseconds(ms);
}

/** The time stamps of the packets kept, in milliseconds after the origin. */
std::vector<int> kept(const PacketRing& ring) {
    std::vector<int> stamps;
    for (auto number = ring.first(); number < ring.end(); ++number)
        stamps.push_back(static_cast<int>((ring.at(number).packet->stamp - origin) / milliseconds(1)));
    return stamps;
}

TEST(PacketRingTest, KeepsItsLengthByWholeGroups) {
    PacketRing ring(milliseconds(500), 1000);
    for (int ms = 0; ms < 1000; ms += 100) ring.push(videoPacket(at(ms), ms % 300 == 0));
    // The group from 300 must stay: the next one begins less than 500 ms before 900.
    EXPECT_EQ(kept(ring), (std::vector<int>{300, 400, 500, 600, 700, 800, 900}));
    ring.push(videoPacket(at(1000), false));
    EXPECT_EQ(kept(ring).front(), 300);
    ring.push(videoPacket(at(1100), false));
    EXPECT_EQ(kept(ring), (std::vector<int>{600, 700, 800, 900, 1000, 1100}));
}

TEST(PacketRingTest, KeepsMoreOnceItIsLengthened) {
    PacketRing ring(milliseconds(200), 1000);
    for (int ms = 0; ms < 500; ms += 100) ring.push(videoPacket(at(ms), true));
    EXPECT_EQ(kept(ring).front(), 200);
    ring.setLength(milliseconds(400));
    EXPECT_EQ(ring.length(), milliseconds(400));
    for (int ms = 500; ms < 1000; ms += 100) ring.push(videoPacket(at(ms), true));
    EXPECT_EQ(kept(ring).front(), 500);
}

TEST(PacketRingTest, NeverKeepsMoreThanItsBytes) {
    PacketRing ring(seconds(60), 100);
    for (int ms = 0; ms < 900; ms += 100) ring.push(videoPacket(at(ms), ms % 300 == 0, 20));
    EXPECT_EQ(kept(ring), (std::vector<int>{600, 700, 800}));
    // A group above the limit is dropped as a whole, and so is its rest.
    ring.push(videoPacket(at(900), false, 20));
    ring.push(videoPacket(at(1000), false, 20));
    EXPECT_EQ(kept(ring).size(), 5U);
    ring.push(videoPacket(at(1100), false, 20));
    EXPECT_TRUE(kept(ring).empty());
    ring.push(videoPacket(at(1200), false, 20));
    EXPECT_TRUE(kept(ring).empty());
    EXPECT_FALSE(ring.keyAtOrBefore(at(1200)));
    EXPECT_FALSE(ring.hasReached(at(0)));
    ring.push(videoPacket(at(1300), true, 20));
    EXPECT_EQ(kept(ring), (std::vector<int>{1300}));
}

TEST(PacketRingTest, ReturnsDroppedPacketsInOrder) {
    PacketRing ring(milliseconds(300), 1000);
    std::vector<SharedPacket> pushed, dropped;
    for (int ms = 0; ms < 1000; ms += 100) {
        for (const SharedPacket& packet : {videoPacket(at(ms), ms % 200 == 0), audioPacket(at(ms))}) {
            pushed.push_back(packet);
            const auto more = ring.push(packet);
            dropped.insert(dropped.end(), more.begin(), more.end());
            ASSERT_EQ(dropped.size(), ring.first());
        }
    }
    ASSERT_GT(dropped.size(), 8U);
    EXPECT_TRUE(std::equal(dropped.begin(), dropped.end(), pushed.begin()));
}

TEST(PacketRingTest, BeginsWithAKeyFrame) {
    PacketRing ring(seconds(60), 1000);
    ring.push(videoPacket(at(0), false));
    ring.push(audioPacket(at(10)));
    ring.push(videoPacket(at(100), true));
    EXPECT_EQ(kept(ring), (std::vector<int>{100}));
}

TEST(PacketRingTest, EachPacketOfSoundAloneIsAGroup) {
    PacketRing ring(milliseconds(100), 1000);
    for (int ms = 0; ms < 300; ms += 20) ring.push(audioPacket(at(ms)));
    EXPECT_EQ(kept(ring).front(), 180);
    EXPECT_FALSE(ring.keyAfter(at(-1)));
    EXPECT_FALSE(ring.pictureAtOrBefore(at(300)));
    EXPECT_FALSE(ring.keyAtOrBefore(at(300)));
    EXPECT_FALSE(ring.hasReached(at(0)));
}

TEST(PacketRingTest, FindsTheLastKeyFrameAtOrBeforeATime) {
    PacketRing ring(seconds(60), 1000);
    for (int ms = 0; ms < 1000; ms += 100) {
        ring.push(videoPacket(at(ms), ms % 400 == 0));
        ring.push(audioPacket(at(ms)));
    }
    const auto stampOf = [&](std::optional<std::uint64_t> number) {
        return number ? (ring.at(*number).packet->stamp - origin) / milliseconds(1) : -1;
    };
    EXPECT_EQ(stampOf(ring.keyAtOrBefore(at(-1))), -1);
    EXPECT_EQ(stampOf(ring.keyAtOrBefore(at(0))), 0);
    EXPECT_EQ(stampOf(ring.keyAtOrBefore(at(399))), 0);
    EXPECT_EQ(stampOf(ring.keyAtOrBefore(at(400))), 400);
    EXPECT_EQ(stampOf(ring.keyAtOrBefore(at(799))), 400);
    EXPECT_EQ(stampOf(ring.keyAtOrBefore(at(5000))), 800);
    EXPECT_EQ(stampOf(ring.keyAfter(at(-1))), 0);
    EXPECT_EQ(stampOf(ring.keyAfter(at(0))), 400);
    EXPECT_EQ(stampOf(ring.keyAfter(at(800))), -1);
    EXPECT_EQ(ring.pictureAtOrBefore(at(499)), at(400));
    EXPECT_EQ(ring.pictureAtOrBefore(at(500)), at(500));
    EXPECT_FALSE(ring.pictureAtOrBefore(at(-1)));
    EXPECT_TRUE(ring.hasReached(at(900)));
    EXPECT_FALSE(ring.hasReached(at(901)));
}

TEST(PacketRingTest, NumbersContinueAcrossDrops) {
    PacketRing ring(milliseconds(200), 1000);
    for (int ms = 0; ms < 1000; ms += 100) {
        ring.push(videoPacket(at(ms), true));
        ring.push(audioPacket(at(ms)));
    }
    EXPECT_EQ(ring.end(), 20U);
    EXPECT_EQ(ring.first(), 14U);
    ring.clear();
    EXPECT_EQ(ring.first(), 20U);
    EXPECT_EQ(ring.end(), 20U);
    ring.push(videoPacket(at(1000), true));
    EXPECT_EQ(ring.first(), 20U);
    EXPECT_EQ(kept(ring), (std::vector<int>{1000}));
}

}  // namespace
}  // namespace kep::host
