#include "recordings/plain_index.h"

#include <gtest/gtest.h>

#include <fstream>

#include "recordings/mp4_boxes.h"
#include "recordings/mp4_index.h"
#include "recordings/mp4_tables.h"
#include "scratch_folder.h"

namespace recordings {
namespace {

constexpr std::uint64_t kLarge = std::uint64_t{1} << 32;

TEST(PlainIndex, DataOfAnySizeHasAHeaderThatFitsItsSpace) {
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

/** 640x360 at 30 frames per second, with frame numbers of four bits. */
const Bytes& baseline() {
    static const Bytes set = {0x67, 0x42, 0xc0, 0x1e, 0xda, 0x02, 0x80, 0xbf, 0xe5, 0x9a, 0x80, 0x80, 0x80,
                              0xa0, 0x00, 0x00, 0x03, 0x00, 0x20, 0x00, 0x00, 0x07, 0x91, 0xe2, 0xc5, 0xd4};
    return set;
}

TEST(H264Units, SequenceSetsHaveSizeAndRate) {
    const auto set = readSequenceSet(baseline());
    ASSERT_TRUE(set);
    EXPECT_EQ(set->width, 640);
    EXPECT_EQ(set->height, 360);
    EXPECT_DOUBLE_EQ(static_cast<double>(set->timescale) / set->duration, 30);
    for (std::size_t size = 0; size < 12; ++size)
        EXPECT_FALSE(readSequenceSet(ByteSpan(baseline()).first(size))) << size;
    EXPECT_FALSE(unitKind(0xe7)) << "the forbidden bit";
    EXPECT_FALSE(unitKind(0x05)) << "a key picture that no other refers to";
    EXPECT_EQ(unitKind(0x41), UnitKind::slice);
}

void append(Bytes& bytes, const Bytes& more) {
    bytes.insert(bytes.end(), more.begin(), more.end());
}

Bytes withLength(const Bytes& unit, std::size_t length) {
    Bytes bytes = {0, 0, static_cast<std::uint8_t>(length >> 8), static_cast<std::uint8_t>(length)};
    append(bytes, unit);
    return bytes;
}

/** The first bytes of a picture, whose unit has this length. */
Bytes headOf(unsigned number, std::size_t length) {
    const unsigned bits = 0x9a10 | number << 5;
    return withLength({0x41, static_cast<std::uint8_t>(bits >> 8), static_cast<std::uint8_t>(bits)}, length);
}

constexpr std::size_t kPicture = 300;
constexpr std::size_t kSound = 100;
constexpr std::size_t kGroup = 20;

/** A film of two groups of pictures with sound after each; after the fifth one the sound begins as given. */
class PlainFilm : public recordings_test::ScratchFolder {
  protected:
    void make(const Bytes& sound) {
        bytes_ = {0, 0, 0, 0, 'm', 'd', 'a', 't'};
        for (std::size_t i = 0; i < 2 * kGroup; ++i) {
            places_.push_back(bytes_.size());
            addPicture(i % kGroup);
            const std::size_t end = bytes_.size() + kSound;
            if (i % kGroup == 4) append(bytes_, sound);
            bytes_.resize(end, 0x55);
        }
    }

    /** The offsets of the pictures found in the film. */
    std::vector<std::uint64_t> found() const {
        std::ofstream(path("film.mp4.part"), std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes_.data()), static_cast<std::streamsize>(bytes_.size()));
        const auto rebuilt = rebuildIndex(FileBytes(path("film.mp4.part")));
        std::vector<std::uint64_t> found;
        if (!rebuilt) return found;
        const ByteSpan contents = ByteSpan(rebuilt->index).subspan(8);
        const auto index = readIndex(contents);
        const auto& [number, track] = *index->tracks.begin();
        Mp4TableSamples samples(contents, number, track, bytes_.size());
        for (Mp4Sample sample; samples.next(sample);) found.push_back(sample.offset);
        return found;
    }

    const std::vector<std::uint64_t>& places() const { return places_; }

  private:
    void addPicture(std::size_t number) {
        Bytes head = headOf(static_cast<unsigned>(number % 16), kPicture);
        if (number == 0) {
            append(bytes_, withLength(baseline(), baseline().size()));
            append(bytes_, withLength({0x68, 0xce, 0x3c, 0x80}, 4));
            head = withLength({0x65, 0x88, 0x80}, kPicture);
        }
        const std::size_t end = bytes_.size() + kPicture + 4;
        append(bytes_, head);
        bytes_.resize(end, 0x55);
    }

    Bytes bytes_;
    std::vector<std::uint64_t> places_;
};

/** Sound that looks like a picture. */
struct Disguise {
    const char* name;
    Bytes sound; /**< at most kSound bytes; the rest is padded */
};

/** A length that ends in the middle of the sound, as many pictures later. */
constexpr std::size_t over(std::size_t pictures) {
    return kSound / 2 + (kPicture + 4 + kSound) * pictures;
}

Bytes withZeroes(Bytes sound) {
    append(sound, Bytes(10, 0));
    return sound;
}

class PlainFilmWithDisguise : public PlainFilm, public testing::WithParamInterface<Disguise> {};

TEST_P(PlainFilmWithDisguise, HasItsPicturesAndNoOthers) {
    make(GetParam().sound);
    EXPECT_EQ(found(), places());
}

INSTANTIATE_TEST_SUITE_P(
    OfSound, PlainFilmWithDisguise,
    testing::Values(Disguise{"None", {}}, Disguise{"InPlaceOfTheNextPicture", withZeroes(headOf(5, over(1)))},
                    Disguise{"WithinTheNextPicture", headOf(5, over(1) - kSound)},
                    Disguise{"OverSeveralPictures", headOf(5, over(5))},
                    Disguise{"OverARoundOfFrameNumbers", headOf(5, over(16))},
                    Disguise{"BetweenPictures", headOf(5, 20)}, Disguise{"OfAnotherNumber", headOf(6, 20)},
                    Disguise{"OfAKeyFrame", withLength({0x65, 0x88, 0x80}, 20)},
                    Disguise{"LongerThanAnyPicture", withLength({0x65, 0x88, 0x80}, 0xff00)}),
    [](const auto& tested) { return tested.param.name; });

}  // namespace
}  // namespace recordings
