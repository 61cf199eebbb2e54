// `vncam qr`: its output as lines and JSON.
#include <regex>

#include "own_segments.h"
#include "shell.h"

namespace vncam_test {
namespace {

class QrCommand : public Shell {
  protected:
    /** The code of the demonstration, as large as the picture. */
    Result qr(const std::string& arguments) const {
        return run(
            "ffmpeg -nostdin -v error -i " PROJECT_FOLDER
            "/scripts/lib/code.pbm -vf format=gray,scale=330:330:flags=neighbor,pad=640:360:-1:-1:gray "
            "code.png && KEP_HOST_VIDEO=file:code.png vncam qr " +
            arguments);
    }

  private:
    const OwnSegments segments_;
};

TEST_F(QrCommand, PrintsTheTextOfACode) {
    const Result result = qr("--count 1");
    EXPECT_EQ(result.exit, 0);
    EXPECT_EQ(result.out, "https://example.org/vornisa\n");
    EXPECT_EQ(result.err, "");
}

TEST_F(QrCommand, PrintsAJsonObject) {
    const Result result = qr("--count 1 --json");
    EXPECT_TRUE(std::regex_match(
        result.out,
        std::regex(
            "\\{\"text\":\"https://example.org/vornisa\",\"format\":\"QRCode\",\"x\":[0-9]+,\"y\":[0-9]+,"
            "\"w\":[0-9]+,\"h\":[0-9]+,\"time\":[0-9]{13}\\}\n")))
        << result.out;
}

TEST_F(QrCommand, FailsWhenNoCodeIsRead) {
    const Result result = run("vncam qr --seconds 0.1");
    EXPECT_EQ(result.exit, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "vncam qr: no code read\n");
}

}  // namespace
}  // namespace vncam_test
