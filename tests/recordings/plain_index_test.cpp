#include "recordings/plain_index.h"

#include <gtest/gtest.h>

#include "recordings/mp4_boxes.h"
#include "recordings/mp4_index.h"

namespace recordings {
namespace {

constexpr std::uint64_t kLarge = std::uint64_t{1} << 32;

TEST(PlainIndex, DataOfAnySizeHaveAHeaderWhereThereIsRoom) {
    EXPECT_EQ(dataHeader(8, 1000), (Bytes{0, 0, 3, 0xe8, 'm', 'd', 'a', 't'}));
    EXPECT_EQ(dataHeader(8, kLarge), Bytes());
    EXPECT_EQ(dataHeader(16, 1000),
              (Bytes{0, 0, 0, 8, 'f', 'r', 'e', 'e', 0, 0, 3, 0xe0, 'm', 'd', 'a', 't'}));
    EXPECT_EQ(dataHeader(16, kLarge), (Bytes{0, 0, 0, 1, 'm', 'd', 'a', 't', 0, 0, 0, 1, 0, 0, 0, 0}));
}

TEST(PlainIndex, ListsItsPictures) {
    const SequenceSet set{320, 180, 60, 2, 4, false};
    const Bytes sequence = {0x67, 0x42, 0xc0, 0x1e, 0x80}, picture = {0x68, 0xce, 0x3c, 0x80};
    const Bytes bytes = plainIndex(set, sequence, picture,
                                   {{100, 50, true}, {kLarge + 7, 60, false}, {kLarge + 90, 70, true}});
    const auto box = readFinishedBox(bytes, bytes.size());
    ASSERT_TRUE(box && box->kind == "moov" && box->end == bytes.size());
    const auto index = readIndex(ByteSpan(bytes).subspan(box->contents));
    ASSERT_TRUE(index && index->usable && index->tracks.size() == 1);
    const Mp4Track& track = index->tracks.begin()->second;
    EXPECT_EQ(track.codec, "avc1");
    EXPECT_EQ(track.width, 320);
    EXPECT_EQ(track.samples, 3U);
    EXPECT_EQ(track.length, 6U);
    EXPECT_DOUBLE_EQ(index->seconds, 0.1);
    EXPECT_EQ(track.tables.offsetBytes, 8U);
    EXPECT_EQ(track.tables.keys->count, 2U);
}

TEST(H264Units, SequenceSetsTellSizeAndRate) {
    const Bytes baseline = {0x67, 0x42, 0xc0, 0x1e, 0xda, 0x02, 0x80, 0xbf, 0xe5, 0x9a, 0x80, 0x80, 0x80,
                            0xa0, 0x00, 0x00, 0x03, 0x00, 0x20, 0x00, 0x00, 0x07, 0x91, 0xe2, 0xc5, 0xd4};
    const auto set = readSequenceSet(baseline);
    ASSERT_TRUE(set);
    EXPECT_EQ(set->width, 640);
    EXPECT_EQ(set->height, 360);
    EXPECT_DOUBLE_EQ(static_cast<double>(set->timescale) / set->duration, 30);
    for (std::size_t size = 0; size < 12; ++size)
        EXPECT_FALSE(readSequenceSet(ByteSpan(baseline).first(size))) << size;
    EXPECT_FALSE(unitKind(0xe7)) << "the forbidden bit";
    EXPECT_FALSE(unitKind(0x05)) << "a key picture that no other refers to";
    EXPECT_EQ(unitKind(0x41), UnitKind::slice);
}

}  // namespace
}  // namespace recordings
