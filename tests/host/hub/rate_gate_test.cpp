#include "media/hub/rate_gate.h"

#include <gtest/gtest.h>

namespace kep::host {
namespace {

using std::chrono::nanoseconds;

/** The indices of the pictures that pass at `rate`, from a camera of `cameraRate` pictures per second. */
std::vector<int> passed(RateGate& gate, int pictures, int cameraRate, int rate, int from = 0) {
    std::vector<int> places;
    for (int i = from; i < from + pictures; ++i) {
        const SteadyTime stamp(std::chrono::hours(1) + nanoseconds(1'000'000'000LL * i / cameraRate));
        if (gate.passes(stamp, rate)) places.push_back(i);
    }
    return places;
}

TEST(RateGate, PassesEvenlySpacedPictures) {
    RateGate gate;
    EXPECT_EQ(passed(gate, 16, 60, 15), (std::vector<int>{0, 4, 8, 12}));
}

TEST(RateGate, PassesAllOfASlowerSource) {
    RateGate gate;
    EXPECT_EQ(passed(gate, 100, 30, 60).size(), 100U);
    RateGate same;
    EXPECT_EQ(passed(same, 100, 30, 30).size(), 100U);
}

TEST(RateGate, ANewRateActsAtOnce) {
    RateGate gate;
    passed(gate, 10, 30, 1);
    EXPECT_EQ(passed(gate, 10, 30, 30, 10).size(), 10U);
}

TEST(RateGate, AfterAPauseItDoesNotCatchUp) {
    RateGate gate;
    passed(gate, 2, 30, 10);
    EXPECT_EQ(passed(gate, 30, 30, 10, 3000).size(), 10U);
}

}  // namespace
}  // namespace kep::host
