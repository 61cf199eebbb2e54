// Settings by another program take effect at once, measured by picture numbers.
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <map>
#include <optional>
#include <string>

#include "image_setter.h"
#include "own_segments.h"
#include "stream_fixture.h"

namespace kep::host {
namespace {

constexpr int kWidth = 640;
constexpr int kHeight = 360;
constexpr int kRounds = 10;
/** Limit from setting something to the first picture that shows it. */
constexpr int kMostPictures = 2;

/** The second program. */
class Setter {
  public:
    Setter() {
        int ends[2];
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
        process_ = fork();
        if (process_ == 0) {
            dup2(ends[1], STDIN_FILENO);
            dup2(ends[1], STDOUT_FILENO);
            execl(IMAGE_SETTER, IMAGE_SETTER, nullptr);
            _exit(127);
        }
        close(ends[1]);
        end_ = ends[0];
    }
    Setter(const Setter&) = delete;
    Setter& operator=(const Setter&) = delete;
    ~Setter() {
        close(end_);
        int status = 0;
        waitpid(process_, &status, 0);
        EXPECT_EQ(status, 0);
    }

    /** Makes it set something; returns the time at which it did, nothing if it failed. */
    std::optional<Clock::time_point> set(const std::string& what, int value) const {
        const std::string line = what + " " + std::to_string(value) + "\n";
        if (write(end_, line.data(), line.size()) != static_cast<ssize_t>(line.size())) return std::nullopt;
        std::string answer;
        for (char letter; read(end_, &letter, 1) == 1 && letter != '\n';) answer += letter;
        if (answer.empty() || answer == "0") return std::nullopt;
        return Clock::time_point(std::chrono::nanoseconds(std::stoll(answer)));
    }

  private:
    pid_t process_ = -1;
    int end_ = -1;
};

/** Whether the picture is red at a position of a frame of 1920x1080. */
bool isRed(const frame_t& frame, int x, int y) {
    constexpr std::size_t kLuma = std::size_t{kWidth} * kHeight;
    const int column = (x + kSide / 2) * kWidth / 1920 / 2;
    const int row = (y + kSide / 2) * kHeight / 1080 / 2;
    const auto* const redness = reinterpret_cast<const std::uint8_t*>(frame.data) + kLuma * 5 / 4;
    return redness[row * kWidth / 2 + column] > 220;
}

/** Reads the number of the test picture even if the picture is mirrored horizontally. */
std::optional<std::uint32_t> numberOf(const frame_t& frame, bool isFlipped) {
    const auto* const luma = reinterpret_cast<const std::uint8_t*>(frame.data);
    std::vector<std::uint8_t> turned;
    for (int y = 0; isFlipped && y < kHeight; ++y)
        turned.insert(turned.end(), std::make_reverse_iterator(luma + (y + 1) * kWidth),
                      std::make_reverse_iterator(luma + y * kWidth));
    return readPictureNumber({isFlipped ? turned.data() : luma, kWidth, kWidth, kHeight});
}

bool shows(const frame_t& frame, const std::string& what) {
    if (what == "zone") return isRed(frame, kZoneX, kZoneY);
    if (what == "stamp") return isRed(frame, kStampX, kStampY);
    return numberOf(frame, true).has_value();
}

class OtherProgram : public VideoTest, public testing::WithParamInterface<const char*> {
    const OwnSegments segments_;
};

TEST_P(OtherProgram, IsSeenWithinTwoPictures) {
    const std::string what = GetParam();
    const Setter setter;
    ASSERT_TRUE(setter.set(what, 0));
    const auto source = newYuv(kWidth, kHeight, 30);
    ASSERT_TRUE(source->ChangeUp(State::play));
    std::map<int, int> pictures;  // how often the change first showed in the n-th picture captured after it
    std::uint32_t last = 0;
    for (int round = 0; round < kRounds; ++round) {
        const int value = 1 - round % 2;
        const auto done = setter.set(what, value);
        ASSERT_TRUE(done);
        bool isSeen = false;
        for (int since = 0; !isSeen;) {
            Frame frame;
            ASSERT_TRUE(source->PullFrame(frame, true));
            const bool isShown = shows(*frame, what);
            const auto number = numberOf(*frame, what == "flip" && isShown);
            ASSERT_TRUE(number);
            EXPECT_GT(*number, last);
            last = *number;
            // Pictures captured earlier may show it already.
            if (frame->stamp < *done) continue;
            isSeen = isShown == (value == 1);
            ASSERT_LT(++since, 30) << "the change never showed";
            if (isSeen) ++pictures[since];
        }
    }
    std::string counts;
    for (const auto& [distance, count] : pictures)
        counts += " " + std::to_string(distance) + " (" + std::to_string(count) + " times)";
    std::printf("%s: seen in picture%s of those captured afterwards\n", what.c_str(), counts.c_str());
    EXPECT_LE(pictures.rbegin()->first, kMostPictures) << counts;
}

INSTANTIATE_TEST_SUITE_P(Settings, OtherProgram, testing::Values("zone", "stamp", "flip"),
                         [](const auto& setting) { return std::string(setting.param); });

}  // namespace
}  // namespace kep::host
