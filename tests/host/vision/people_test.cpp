// PeopleFinder with various scores, with and without motion, and with pictures of various sizes.
#include "vision/people.h"

#include <algorithm>
#include <filesystem>

#include "people_model.h"
#include "stream_fixture.h"

namespace kep::host {
namespace {

/** A grey picture with an optional lighter rectangle. */
class GreyPicture {
  public:
    GreyPicture(int width, int height, std::uint8_t level = 90)
        : luma_(static_cast<std::size_t>(width * height), level) {
        frame_->data[0] = luma_.data();
        frame_->linesize[0] = frame_->width = width;
        frame_->height = height;
    }
    void lighten(int left, int top, int width, int height) {
        for (int y = top; y < top + height; ++y)
            std::fill_n(luma_.begin() + y * frame_->width + left, width, std::uint8_t{180});
    }
    const AVFrame& frame() const { return *frame_; }

  private:
    std::vector<std::uint8_t> luma_;
    const FramePtr frame_{av_frame_alloc()};
};

class PeopleFinderTest : public VideoTest {
  protected:
    /** A finder that gives every position this score. */
    std::unique_ptr<PeopleFinder> finder(float score) const {
        writeModel(path("model.yml").string(), score);
        std::string reason;
        std::unique_ptr<PeopleFinder> made = PeopleFinder::make(path("model.yml").string(), reason);
        EXPECT_TRUE(made) << reason;
        return made;
    }
    /**
     * How many are found in the last of four pictures, of a still scene or with an object that appears and
     * moves.
     */
    static std::size_t foundIn(PeopleFinder& finder, bool isMoving) {
        std::size_t found = 0;
        for (int i = 0; i < 4; ++i) {
            GreyPicture picture(640, 360);
            if (isMoving && i > 0) picture.lighten(200 + 10 * i, 100, 160, 240);
            found = finder.find(picture.frame()).size();
        }
        return found;
    }
};

TEST_F(PeopleFinderTest, RequiresAHigherScoreWithoutMotion) {
    EXPECT_EQ(foundIn(*finder(0.4F), true), 0u);
    EXPECT_EQ(foundIn(*finder(0.4F), false), 0u);
    EXPECT_GE(foundIn(*finder(1.0F), true), 1u);
    EXPECT_EQ(foundIn(*finder(1.0F), false), 0u);
    EXPECT_GE(foundIn(*finder(2.0F), true), 1u);
    EXPECT_GE(foundIn(*finder(2.0F), false), 1u);
}

TEST_F(PeopleFinderTest, DoesNotTakeANewSceneForMotion) {
    const auto searching = finder(1.0F);
    for (int i = 0; i < 12; ++i) {
        const GreyPicture picture(640, 360, i / 4 % 2 ? 40 : 200);
        EXPECT_TRUE(searching->find(picture.frame()).empty()) << i;
    }
}

TEST_F(PeopleFinderTest, FollowsNobodyIntoANewScene) {
    const auto searching = finder(2.0F);
    for (int i = 0; i < 12; ++i) {
        const GreyPicture picture(640, 360, i / 4 % 2 ? 40 : 200);
        EXPECT_EQ(searching->find(picture.frame()).empty(), i % 4 == 0) << i;
    }
}

TEST_F(PeopleFinderTest, ReturnsPositionsInTheReferenceFrameForAnySize) {
    for (const auto& [width, height] :
         {std::pair{16, 16}, std::pair{320, 240}, std::pair{4096, 2304}, std::pair{90, 160}}) {
        const auto searching = finder(2.0F);
        const GreyPicture picture(width, height);
        searching->find(picture.frame());
        const auto people = searching->find(picture.frame());
        ASSERT_GE(people.size(), 1u) << width;
        for (const FoundPerson& person : people) {
            EXPECT_GE(person.x, 0) << width;
            EXPECT_GE(person.y, 0) << width;
            EXPECT_LE(person.x + person.w, 1920) << width;
            EXPECT_LE(person.y + person.h, 1080) << width;
            EXPECT_GT(person.h, 1080 / 2)
                << width << ": the detector's window is nearly as high as the picture";
        }
    }
}

}  // namespace
}  // namespace kep::host
