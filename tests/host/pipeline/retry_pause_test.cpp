#include "media/common/retry_pause.h"

#include <gtest/gtest.h>

namespace kep::host {
namespace {

using std::chrono::seconds;

TEST(RetryPauseTest, GrowsFromOneSecondToEight) {
    RetryPause pause;
    for (const int expected : {1, 2, 4, 8, 8, 8}) EXPECT_EQ(pause.next(), seconds(expected));
}

TEST(RetryPauseTest, RestartsAfterASuccess) {
    RetryPause pause;
    pause.next();
    pause.next();
    pause.reset();
    EXPECT_EQ(pause.next(), seconds(1));
    EXPECT_EQ(pause.next(), seconds(2));
}

}  // namespace
}  // namespace kep::host
