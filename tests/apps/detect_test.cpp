// `vncam detect`: its output as lines and JSON, and its picture.
#include <filesystem>
#include <regex>

#include "own_segments.h"
#include "shell.h"

namespace vncam_test {
namespace {

constexpr const char* kClip = "/usr/share/doc/opencv-doc/examples/data/vtest.avi";

class DetectCommand : public Shell {
  protected:
    void SetUp() override {
        if (!std::filesystem::exists(kClip)) GTEST_SKIP() << "needs the package opencv-doc";
    }
    Result detect(const std::string& arguments) const {
        return run("KEP_HOST_VIDEO=file:" + std::string(kClip) + " vncam detect " + arguments);
    }

  private:
    const OwnSegments segments_;
};

TEST_F(DetectCommand, PrintsALineForEachPictureWithPeople) {
    const Result result = detect("--count 2");
    EXPECT_EQ(result.exit, 0);
    const std::string line =
        "[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9:]{8}\\.[0-9]{3}  (1 person|[0-9]+ people)"
        "(  [0-9]+,[0-9]+,[0-9]+x[0-9]+ \\([0-9]\\.[0-9]{2}\\))+\n";
    EXPECT_TRUE(std::regex_match(result.out, std::regex(line + line))) << result.out;
    EXPECT_EQ(result.err, "");
}

TEST_F(DetectCommand, PrintsJsonAndOutlinesPeopleInAPicture) {
    const Result result = detect("--count 1 --json --picture people.jpg");
    EXPECT_EQ(result.exit, 0) << result.err;
    std::smatch found;
    const std::string person =
        "\\{\"x\":([0-9]+),\"y\":([0-9]+),\"w\":([0-9]+),\"h\":([0-9]+),\"score\":[0-9]\\.[0-9]{2}\\}";
    ASSERT_TRUE(std::regex_match(
        result.out, found,
        std::regex("\\{\"count\":[1-9],\"people\":\\[" + person + "(,\\{.*\\})?\\],\"time\":[0-9]{13}\\}\n")))
        << result.out;
    const auto number = [&](std::size_t i) { return std::stoi(found[i]); };
    // The middle of the left edge is green, and what is beside it is not.
    const auto colourAt = [&](int x, int y) {
        const Result colour =
            run("ffmpeg -nostdin -v error -i people.jpg -vf crop=2:2:" + std::to_string(x) + ":" +
                std::to_string(y) + ",scale=1:1 -f rawvideo -pix_fmt rgb24 - | od -An -tu1 | xargs");
        std::istringstream text(colour.out);
        int red = 0, green = 0, blue = 0;
        text >> red >> green >> blue;
        return green - std::max(red, blue);
    };
    const int left = number(1) & ~1, middle = (number(2) + number(4) / 2) & ~1;
    EXPECT_GT(colourAt(left + 2, middle), 100);
    EXPECT_LT(colourAt(left + 16, middle), 100);
    EXPECT_EQ(run("ls people.jpg*").out, "people.jpg\n");
}

TEST_F(DetectCommand, FailsWhenNobodyIsFound) {
    const Result result = run("vncam detect --seconds 0.5");
    EXPECT_EQ(result.exit, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "vncam detect: nobody found\n");
}

}  // namespace
}  // namespace vncam_test
