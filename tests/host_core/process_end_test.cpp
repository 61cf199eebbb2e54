#include <gtest/gtest.h>

#include "probe.h"

namespace {

TEST(ProcessEnd, ABlockedCallbackDoesNotDelayIt) {
    const Probe probe = runProbe("blocked-callback");
    EXPECT_EQ(probe.exitCode, 0) << probe.output;
}

TEST(ProcessEnd, ACallbackMayEndTheProcess) {
    const Probe probe = runProbe("exit-in-callback");
    EXPECT_EQ(probe.exitCode, 3) << probe.output;
}

TEST(ProcessEnd, ObjectsWithStaticStorageMayStillPost) {
    const Probe probe = runProbe("late-post");
    EXPECT_EQ(probe.exitCode, 0) << probe.output;
    EXPECT_EQ(probe.output, "");
}

TEST(ProcessEnd, AnApplicationMayBeLeftPlaying) {
    const Probe probe = runProbe("application-left-playing");
    EXPECT_EQ(probe.exitCode, 0) << probe.output;
    EXPECT_EQ(probe.output, "");
}

}  // namespace
