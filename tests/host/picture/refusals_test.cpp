#include <gmock/gmock.h>

#include <fstream>

#include "faulty_files.h"
#include "jpeg_file.h"
#include "stream_fixture.h"
#include "vornisa_api.h"

namespace kep::host {
namespace {

using api::streaming::IPhotography;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

/** Each test ends by taking a picture: a refusal must not break the next call. */
class RefusalsTest : public VideoTest {
  protected:
    ~RefusalsTest() override {
        const std::filesystem::path good = path("good.jpg");
        choose("test");
        EXPECT_EQ(VNTakePic(good.c_str(), 320, 180), VNRES_SUCCEED);
        EXPECT_TRUE(numberIn(good));
    }

    /** Expects a picture to be refused; returns the output on stderr. */
    std::string refused(const std::string& file, int width = 320, int height = 180) {
        testing::internal::CaptureStderr();
        EXPECT_EQ(VNTakePic(file.c_str(), width, height), VNRES_FAIL);
        return testing::internal::GetCapturedStderr();
    }
};

TEST_F(RefusalsTest, SizesThatNoPictureHas) {
    EXPECT_THAT(refused(path("a.jpg"), 0, 180), HasSubstr("width 0 is not an even number from 16 to 8192"));
    EXPECT_THAT(refused(path("a.jpg"), 321, 180), HasSubstr("width 321 "));
    EXPECT_THAT(refused(path("a.jpg"), 320, -2), HasSubstr("height -2 "));
    EXPECT_THAT(refused(path("a.jpg"), 320, 8194), HasSubstr("height 8194 "));
    EXPECT_THAT(namesIn(path("")), IsEmpty());
}

TEST_F(RefusalsTest, FilesThatCannotBeWritten) {
    EXPECT_THAT(refused(path("no/a.jpg")), HasSubstr("picture " + path("no/a.jpg").string() + ": "));
    EXPECT_THAT(refused(path("")), HasSubstr("\" has no file name"));
    EXPECT_THAT(refused(""), HasSubstr("\"file://\" has no file name"));
    EXPECT_THAT(refused("/proc/a.jpg"), HasSubstr("picture /proc/a.jpg: "));
    std::filesystem::create_directory(path("folder"));
    EXPECT_THAT(refused(path("folder")), HasSubstr("folder: not a regular file"));
    EXPECT_THAT(refused("/dev/null"), HasSubstr("/dev/null: not a regular file"));
    EXPECT_THAT(refused(path(std::string(300, 'x'))), HasSubstr(": File name too long"));
    EXPECT_THAT(namesIn(path("")), ElementsAre("folder"));
}

TEST_F(RefusalsTest, AFileNameThatIsNull) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(VNTakePic(nullptr, 320, 180), VNRES_FAIL);
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("has no file name"));
}

TEST_F(RefusalsTest, NoCamera) {
    choose("v4l2:/dev/video99");
    EXPECT_THAT(refused(path("a.jpg")), HasSubstr("/dev/video99"));
    EXPECT_THAT(namesIn(path("")), IsEmpty());
}

TEST_F(RefusalsTest, AHandleOfAnotherKind) {
    int yuv = 0;
    ASSERT_EQ(VNAcquire(VNRES_YUV_SOURCE, &yuv), VNRES_SUCCEED);
    EXPECT_EQ(VNTakePic2(yuv, path("a.jpg").c_str()), VNRES_INVALID_ARG);
    EXPECT_EQ(VNRelease(yuv), VNRES_SUCCEED);
    EXPECT_THAT(namesIn(path("")), IsEmpty());
}

class PhotographyRefusalsTest : public RefusalsTest {
  protected:
    bool snap(const std::string& url) { return photography_->Snap(url.c_str(), true); }
    std::string refusedUrl(const std::string& url) {
        testing::internal::CaptureStderr();
        EXPECT_FALSE(snap(url));
        return testing::internal::GetCapturedStderr();
    }
    std::string good() const { return "file://" + path("a.jpg").string(); }

    Owned<IPhotography> photography_{IPhotography::CreateNew("vornisa")};
};

TEST_F(PhotographyRefusalsTest, UrlsThatAreNotOfAFile) {
    ASSERT_TRUE(photography_->ChangeUp(State::play));
    EXPECT_THAT(refusedUrl("http://a/b.jpg"), HasSubstr("\"http://a/b.jpg\" is not a file URL"));
    EXPECT_THAT(refusedUrl("a.jpg"), HasSubstr("\"a.jpg\" is not a file URL"));
    testing::internal::CaptureStderr();
    EXPECT_FALSE(photography_->Snap(true));
    EXPECT_FALSE(photography_->Snap(nullptr, true));
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("\"\" is not a file URL"));
    EXPECT_TRUE(snap(good()));
}

TEST_F(PhotographyRefusalsTest, InvalidQualitiesAndSources) {
    ASSERT_TRUE(photography_->ChangeUp(State::play));
    for (const int quality : {0, 101, -5}) {
        photography_->SetQuality(quality);
        EXPECT_THAT(refusedUrl(good()),
                    HasSubstr("picture quality " + std::to_string(quality) + " is not from 1 to 100"));
    }
    photography_->SetQuality(80);
    photography_->SetSourceIndex(1);
    EXPECT_THAT(refusedUrl(good()), HasSubstr("there is no picture source 1, only 0"));
    ASSERT_TRUE(photography_->ChangeDown(State::null));
    EXPECT_FALSE(photography_->ChangeUp(State::play));
    photography_->SetSourceIndex(0);
    ASSERT_TRUE(photography_->ChangeUp(State::play));
    EXPECT_TRUE(snap(good()));
}

TEST_F(PhotographyRefusalsTest, NotPlaying) {
    EXPECT_THAT(refusedUrl(good()), HasSubstr("the camera is not running"));
    ASSERT_TRUE(photography_->ChangeUp(State::play));
    ASSERT_TRUE(snap(good()));
    ASSERT_TRUE(photography_->ChangeDown(State::null));
    EXPECT_FALSE(snap(good()));
}

TEST_F(PhotographyRefusalsTest, AnUnknownDevice) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(IPhotography::CreateNew("other"), nullptr);
    EXPECT_EQ(IPhotography::CreateNew(nullptr), nullptr);
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("IPhotography: no device \"other\", only \"vornisa\""));
}

TEST_F(PhotographyRefusalsTest, ALostCameraEndsTheTaker) {
    const std::filesystem::path pipe = path("pipe.h264");
    const std::filesystem::path film = VideoTest::film("film.h264", 30);
    ASSERT_EQ(std::system(("mkfifo '" + pipe.string() + "'").c_str()), 0);
    ASSERT_EQ(std::system(("cat '" + film.string() + "' >'" + pipe.string() + "' &").c_str()), 0);
    // This process recorded the film itself, just before.
    choose("file:" + pipe.string());
    Messages messages(*photography_);
    ASSERT_TRUE(photography_->ChangeUp(State::play));
    EXPECT_EQ(messages.waitFor("name=deviceLost"),
              "name=deviceLost,media=video,device=file:" + pipe.string());
    EXPECT_EQ(messages.waitFor("name=stopped"), "name=stopped");
    EXPECT_EQ(photography_->CurrentState(), State::null);
    choose("test");
    ASSERT_TRUE(photography_->ChangeUp(State::play));
    EXPECT_TRUE(snap(good()));
}

class DiskFaultsTest : public RefusalsTest, public testing::WithParamInterface<FaultyFiles::Step> {};

TEST_P(DiskFaultsTest, KeepTheOlderPictureAndNothingElse) {
    ASSERT_EQ(VNTakePic(path("a.jpg").c_str(), 640, 360), VNRES_SUCCEED);
    FaultyFiles files(GetParam());
    const std::string shown = refused(path("a.jpg"));
    EXPECT_THAT(shown, HasSubstr("picture " + path("a.jpg").string() + ": "));
    EXPECT_THAT(shown, HasSubstr("Input/output error"));
    EXPECT_EQ(probed(path("a.jpg")), "mjpeg,640,360,yuvj420p\n");
    EXPECT_THAT(namesIn(path("")), ElementsAre("a.jpg"));
    files.heal();
    EXPECT_EQ(VNTakePic(path("a.jpg").c_str(), 320, 180), VNRES_SUCCEED);
    EXPECT_EQ(probed(path("a.jpg")), "mjpeg,320,180,yuvj420p\n");
}

TEST_F(RefusalsTest, APictureWhoseRenameIsNotSynced) {
    ASSERT_EQ(VNTakePic(path("a.jpg").c_str(), 640, 360), VNRES_SUCCEED);
    FaultyFiles files(FaultyFiles::Step::syncFolder);
    EXPECT_THAT(refused(path("a.jpg")), HasSubstr("Input/output error"));
    // The new picture has already replaced the old one.
    EXPECT_EQ(probed(path("a.jpg")), "mjpeg,320,180,yuvj420p\n");
    EXPECT_THAT(namesIn(path("")), ElementsAre("a.jpg"));
}

INSTANTIATE_TEST_SUITE_P(Steps, DiskFaultsTest,
                         testing::Values(FaultyFiles::Step::create, FaultyFiles::Step::write,
                                         FaultyFiles::Step::sync, FaultyFiles::Step::close,
                                         FaultyFiles::Step::replace));

}  // namespace
}  // namespace kep::host
