// Tracking people from picture to picture.
#include "vision/people_tracks.h"

#include <gtest/gtest.h>

namespace kep::host {
namespace {

using Boxes = std::vector<PersonBox>;

PersonBox at(double x, double y = 100) {
    return {x, y, 60, 120, 1};
}

TEST(PeopleTracks, CountPeopleSeenInTwoOfThreePictures) {
    PeopleTracks tracks;
    EXPECT_TRUE(tracks.update({at(100)}).empty());
    EXPECT_TRUE(tracks.update({}).empty());
    const Boxes people = tracks.update({at(104)});
    ASSERT_EQ(people.size(), 1u);
    EXPECT_EQ(people[0].x, 104);
}

TEST(PeopleTracks, DoNotCountPeopleSeenInOneOfThreePictures) {
    PeopleTracks tracks;
    for (int i = 0; i < 10; ++i)
        EXPECT_TRUE(tracks.update(i % 3 == 0 ? Boxes{at(100)} : Boxes{}).empty()) << i;
}

TEST(PeopleTracks, PredictPositionsForTwoMissedPictures) {
    PeopleTracks tracks;
    for (int i = 0; i < 12; ++i) tracks.update({at(100 + 10 * i)});
    for (const double expected : {220, 230}) {
        const Boxes people = tracks.update({});
        ASSERT_EQ(people.size(), 1u);
        EXPECT_NEAR(people[0].x, expected, 1);
    }
    EXPECT_TRUE(tracks.update({}).empty()) << "track not dropped";
}

TEST(PeopleTracks, KeepPeopleWhoPassEachOtherApart) {
    PeopleTracks tracks;
    for (int i = 0; i < 20; ++i) {
        const Boxes people = tracks.update({at(100 + 12 * i), at(330 - 12 * i, 120)});
        EXPECT_EQ(people.size(), i == 0 ? 0u : 2u) << i;
    }
}

TEST(PeopleTracks, TakeADistantDetectionForAnotherPerson) {
    PeopleTracks tracks;
    tracks.update({at(100)});
    EXPECT_TRUE(tracks.update({at(400)}).empty());
    EXPECT_EQ(tracks.update({at(100), at(400)}).size(), 2u);
}

}  // namespace
}  // namespace kep::host
