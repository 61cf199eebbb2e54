// Finding codes in pictures, and how applications are notified.
#include "vision/codes.h"

#include <fcntl.h>
#include <sys/mman.h>

#include <cmath>
#include <cstring>
#include <fstream>
#include <numbers>

#define ZX_USE_UTF8 1
#include <ZXing/BitMatrix.h>
#include <ZXing/MultiFormatWriter.h>

#include "error_lines.h"
#include "kep/entry_points.h"
#include "kep/message.h"
#include "kep/object.h"
#include "own_segments.h"
#include "stream_fixture.h"
#include "vision/code_record.h"
#include "vornisa_api.h"

namespace kep::host {
namespace {

constexpr int kWidth = 640;
constexpr int kHeight = 360;

/** A grey picture with a code of `side` pixels in the middle, rotated by `degrees`. */
class CodePicture {
  public:
    CodePicture(const std::string& text, int side, double degrees,
                ZXing::BarcodeFormat format = ZXing::BarcodeFormat::QRCode)
        : luma_(std::size_t{kWidth} * kHeight, 180) {
        const ZXing::BitMatrix code = ZXing::MultiFormatWriter(format)
                                          .setEncoding(ZXing::CharacterSet::UTF8)
                                          .setMargin(4)
                                          .encode(text, side, side);
        const double angle = degrees * std::numbers::pi / 180;
        for (int y = 0; y < kHeight; ++y) {
            for (int x = 0; x < kWidth; ++x) {
                const double fromX = x - kWidth / 2.0, fromY = y - kHeight / 2.0;
                const double u = fromX * std::cos(angle) + fromY * std::sin(angle) + side / 2.0;
                const double v = fromY * std::cos(angle) - fromX * std::sin(angle) + side / 2.0;
                if (u < 0 || v < 0 || u >= code.width() || v >= code.height()) continue;
                luma_[std::size_t(y) * kWidth + std::size_t(x)] =
                    code.get(static_cast<int>(u), static_cast<int>(v)) ? 20 : 230;
            }
        }
        frame_->data[0] = luma_.data();
        frame_->linesize[0] = kWidth;
        frame_->width = kWidth;
        frame_->height = kHeight;
    }

    const AVFrame& frame() const { return *frame_; }
    void write(const std::string& path) const {
        std::ofstream file(path, std::ios::binary);
        file << "P5 " << kWidth << ' ' << kHeight << " 255\n";
        file.write(reinterpret_cast<const char*>(luma_.data()), static_cast<std::streamsize>(luma_.size()));
    }

  private:
    std::vector<std::uint8_t> luma_;
    const FramePtr frame_{av_frame_alloc()};
};

TEST(Codes, AreReadInEachSizeAndAtEachAngle) {
    for (const int side : {120, 150, 180, 220, 250}) {
        for (const double degrees : {0, 15, 30, 45, 90, 200}) {
            const CodePicture picture("https://example.org/vornisa", side, degrees);
            const auto found = codesIn(picture.frame());
            ASSERT_EQ(found.size(), 1u) << side << ' ' << degrees;
            EXPECT_EQ(found[0].text, "https://example.org/vornisa");
            EXPECT_EQ(found[0].format, "QRCode");
            EXPECT_GE(found[0].left, kWidth / 2 - side);
            EXPECT_LE(found[0].right, kWidth / 2 + side);
            EXPECT_GT(found[0].right - found[0].left, side / 2);
            EXPECT_GT(found[0].bottom - found[0].top, side / 2);
        }
    }
}

TEST(Codes, OtherKindsAreReadToo) {
    for (const auto& [format, name] : {std::pair{ZXing::BarcodeFormat::DataMatrix, "DataMatrix"},
                                       std::pair{ZXing::BarcodeFormat::Aztec, "Aztec"}}) {
        const auto found = codesIn(CodePicture("vornisa", 200, 0, format).frame());
        ASSERT_EQ(found.size(), 1u) << name;
        EXPECT_EQ(found[0].text, "vornisa");
        EXPECT_EQ(found[0].format, name);
    }
}

TEST(Codes, BarCodesAreNotRead) {
    EXPECT_TRUE(codesIn(CodePicture("vornisa", 250, 0, ZXing::BarcodeFormat::Code128).frame()).empty());
}

class CodeReader : public VideoTest {
  protected:
    ~CodeReader() override { VNRelease(id_); }

    void film(const std::string& text) {
        CodePicture(text, 250, 10).write(path("code.pgm"));
        choose("file:" + path("code.pgm").string());
        ASSERT_EQ(VNAcquire(VNRES_QRCODE, &id_), VNRES_SUCCEED);
        box_ = &messages_;
        ASSERT_EQ(VNRegisterMessageCallback(id_, [](const char* message) { box_->put(message); }),
                  VNRES_SUCCEED);
        ASSERT_EQ(VNStart(id_), VNRES_SUCCEED);
    }
    std::string segment() const { return segments_.path(kCodeSegment); }
    CodeRecord record() const {
        CodeRecord found{};
        const int file = shm_open(segment().c_str(), O_RDONLY, 0);
        EXPECT_EQ(pread(file, &found, sizeof found, 0), static_cast<ssize_t>(sizeof found));
        close(file);
        return found;
    }

    MessageBox messages_;
    int id_ = 0;

  private:
    static inline MessageBox* box_ = nullptr;
    const OwnSegments segments_;
};

TEST_F(CodeReader, ReportsACodeInAMessageAndInSharedMemory) {
    film("one, two");
    const std::string message = messages_.waitFor("name=code");
    EXPECT_TRUE(message.starts_with("name=code,text={one, two},format=QRCode,x=")) << message;
    const CodeRecord found = record();
    EXPECT_EQ(found.sequence, 2u);
    EXPECT_EQ(std::string(found.text, found.length), "one, two");
    EXPECT_STREQ(found.format, "QRCode");
    EXPECT_GT(found.x, 400);
    EXPECT_LT(found.x, 960);
    EXPECT_GT(found.x + found.w, 960);
    EXPECT_GT(found.y + found.h, 540);
    const auto now = std::chrono::system_clock::now().time_since_epoch() / std::chrono::milliseconds(1);
    EXPECT_LE(found.time, now);
    EXPECT_GT(found.time, now - 60'000);
    EXPECT_NE(message.find(",time=" + std::to_string(found.time)), std::string::npos) << message;
}

TEST_F(CodeReader, EscapesTextThatNoMessageCanHave) {
    film("{100 %");
    EXPECT_TRUE(messages_.waitFor("name=code").starts_with("name=code,text=%7B100 %25,encoded=true,format="));
    EXPECT_EQ(std::string(record().text, record().length), "{100 %");
}

TEST_F(CodeReader, ReportsACodeOnceUntilItIsGone) {
    // A code for 10 pictures, nothing for 20, repeatedly: reported about once per pass.
    CodePicture("again", 250, 0).write(path("code.pgm"));
    makeFile("-f lavfi -i color=gray:s=640x360:r=30:d=1 -loop 1 -i " + path("code.pgm").string() +
             " -filter_complex '[0][1]overlay=shortest=1:enable=lt(n\\,10)' -c:v mjpeg -q:v 2 -pix_fmt "
             "yuvj420p film.avi");
    choose("file:" + path("film.avi").string());
    MessageBox box;
    static MessageBox* messages = &box;
    const std::unique_ptr<object_base> service(
        kepCreate("type=ShmService,index=1,partner={type=Application,layout={type=Pipeline,layout={"
                  "PvYuvSrcAdv:w=640,h=360+FrameRateCtrl:fr=30+ZBarSink:dbg=false+FakeSink}}}"));
    ASSERT_TRUE(service);
    auto& processer = dynamic_cast<base::IMessageProcesser&>(*service);
    processer.RegisterMessageProcessCallback([](base::Message& message) {
        messages->put(message.ToString());
        return true;
    });
    auto& object = dynamic_cast<base::object&>(*service);
    ASSERT_TRUE(object.SetStr("status", "play"));
    std::int64_t count = 0;
    while (count < 120) ASSERT_TRUE(object.Get("count", &count, &typeid(count)));
    ASSERT_TRUE(object.SetStr("status", "null"));
    const auto found = messages->all("name=code").size();
    EXPECT_GE(found, 2u) << "not reported again after its return";
    EXPECT_LE(found, static_cast<std::size_t>(count / 30 + 1)) << "reported again while it stayed";
}

TEST_F(CodeReader, ReportsAgainAfterARestart) {
    film("twice");
    EXPECT_NE(messages_.waitFor("name=code"), "");
    ASSERT_EQ(VNStop(id_), VNRES_SUCCEED);
    ASSERT_EQ(VNStart(id_), VNRES_SUCCEED);
    const auto end = Clock::now() + patience;
    while (messages_.all("name=code").size() < 2 && Clock::now() < end)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_EQ(messages_.all("name=code").size(), 2u);
    EXPECT_EQ(record().sequence, 4u);
}

TEST_F(CodeReader, RunsWithoutSharedMemory) {
    const ErrorLines lines;
    setenv("KEP_HOST_SHM", "no/such/", 1);
    film("still");
    EXPECT_TRUE(messages_.waitFor("name=code").starts_with("name=code,text=still,"));
    EXPECT_EQ(lines.count("shared memory vornisa_shm_code: "), 1) << lines.raw();
}

}  // namespace
}  // namespace kep::host
