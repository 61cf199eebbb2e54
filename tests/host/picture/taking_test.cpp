#include <gmock/gmock.h>

#include "faulty_files.h"
#include "jpeg_file.h"
#include "stream_fixture.h"
#include "vornisa_api.h"

namespace kep::host {
namespace {

using api::streaming::IPhotography;
using testing::ElementsAre;

class TakingTest : public VideoTest {
  protected:
    int take(const std::string& name, int width, int height) {
        return VNTakePic(path(name).c_str(), width, height);
    }
};

/** A picture taker, acquired and optionally started. */
class Taker {
  public:
    explicit Taker(bool started = true) {
        EXPECT_EQ(VNAcquire(VNRES_PHOTOGRAPHY, &id_), VNRES_SUCCEED);
        if (started) {
            EXPECT_EQ(VNStart(id_), VNRES_SUCCEED);
        }
    }
    ~Taker() { EXPECT_EQ(VNRelease(id_), VNRES_SUCCEED); }
    int id() const { return id_; }
    int isRunning() const {
        int running = -1;
        EXPECT_EQ(VNIsRunning(id_, &running), VNRES_SUCCEED);
        return running;
    }

  private:
    int id_ = 0;
};

TEST_F(TakingTest, IsAJpegFileOfTheSizeAsked) {
    ASSERT_EQ(take("a.jpg", 1280, 720), VNRES_SUCCEED);
    EXPECT_EQ(probed(path("a.jpg")), "mjpeg,1280,720,yuvj420p\n");
    EXPECT_TRUE(numberIn(path("a.jpg")));
    EXPECT_THAT(namesIn(path("")), ElementsAre("a.jpg"));
}

TEST_F(TakingTest, SizesThatAreNotMultiplesOfABlockDecode) {
    ASSERT_EQ(take("a.jpg", 1922, 1082), VNRES_SUCCEED);
    EXPECT_EQ(probed(path("a.jpg")), "mjpeg,1922,1082,yuvj420p\n");
    EXPECT_TRUE(numberIn(path("a.jpg")));
}

TEST_F(TakingTest, HasTheTablesOfQuality80) {
    ASSERT_EQ(take("a.jpg", 640, 360), VNRES_SUCCEED);
    const auto tables = quantTables(path("a.jpg"));
    ASSERT_EQ(tables.size(), 2U);
    EXPECT_EQ(tables.at(0), lumaTable(80));
    EXPECT_EQ(tables.at(1), chromaTable(80));
}

TEST_F(TakingTest, EveryQualityHasItsTables) {
    const Owned<IPhotography> photography(IPhotography::CreateNew("vornisa"));
    ASSERT_TRUE(photography->ChangeUp(State::play));
    photography->SetWidth(320);
    photography->SetHeight(180);
    std::uintmax_t before = 0;
    for (const int quality : {1, 25, 50, 75, 95, 100}) {
        photography->SetQuality(quality);
        ASSERT_TRUE(photography->Snap(("file://" + path("a.jpg").string()).c_str(), true));
        EXPECT_EQ(quantTables(path("a.jpg")).at(0), lumaTable(quality)) << quality;
        EXPECT_EQ(quantTables(path("a.jpg")).at(1), chromaTable(quality)) << quality;
        EXPECT_GT(std::filesystem::file_size(path("a.jpg")), before);
        before = std::filesystem::file_size(path("a.jpg"));
    }
}

/** The mean of each colour in a cropped rectangle, as ffmpeg decodes the file. */
std::array<int, 3> colourAt(const std::filesystem::path& file, const std::string& crop) {
    const std::string bytes =
        outputOf("ffmpeg -nostdin -v error -i '" + file.string() + "' -vf crop=" + crop +
                 ",scale=1:1:flags=area,format=rgb24 -f rawvideo - | od -An -tu1");
    std::array<int, 3> colour{-1, -1, -1};
    std::sscanf(bytes.c_str(), "%d %d %d", &colour[0], &colour[1], &colour[2]);
    return colour;
}

TEST_F(TakingTest, ColoursAreThoseFilmed) {
    // HD video uses another colour matrix than JPEG files.
    const struct {
        const char* name;
        std::array<int, 3> colour;
    } all[] = {{"0xC81E1E", {200, 30, 30}},   {"0x1EC81E", {30, 200, 30}}, {"0x1E1EC8", {30, 30, 200}},
               {"0xFFFFFF", {255, 255, 255}}, {"0x000000", {0, 0, 0}},     {"0x808080", {128, 128, 128}},
               {"0xE6D200", {230, 210, 0}},   {"0x00D2E6", {0, 210, 230}}};
    for (const auto& one : all) {
        const std::string film = std::string(one.name) + ".png";
        makeFile(std::string("-f lavfi -i color=") + one.name + ":s=1280x720 -frames:v 1 " + film);
        choose("file:" + path(film).string());
        ASSERT_EQ(take("a.jpg", 1280, 720), VNRES_SUCCEED);
        const auto seen = colourAt(path("a.jpg"), "640:360");
        for (std::size_t i = 0; i < 3; ++i) EXPECT_NEAR(seen[i], one.colour[i], 4) << one.name;
    }
}

TEST_F(TakingTest, ColoursOfStandardDefinitionAreThoseFilmedToo) {
    makeFile(
        "-f lavfi -i color=0xC81E1E:s=640x480,format=rgb24,scale=out_color_matrix=bt601,format=yuv420p"
        " -colorspace smpte170m -c:v libx264 -qp 10 -t 1 film.mp4");
    choose("file:" + path("film.mp4").string());
    ASSERT_EQ(take("a.jpg", 640, 480), VNRES_SUCCEED);
    const auto seen = colourAt(path("a.jpg"), "320:240");
    EXPECT_NEAR(seen[0], 200, 4);
    EXPECT_NEAR(seen[1], 30, 4);
    EXPECT_NEAR(seen[2], 30, 4);
}

TEST_F(TakingTest, ATakerHasTheSizeOfTheCamera) {
    const Taker taker;
    ASSERT_EQ(VNTakePic2(taker.id(), path("a.jpg").c_str()), VNRES_SUCCEED);
    EXPECT_EQ(probed(path("a.jpg")), "mjpeg,1920,1080,yuvj420p\n");
    EXPECT_EQ(quantTables(path("a.jpg")).at(0), lumaTable(80));
}

TEST_F(TakingTest, ATakerIsStartedByItsFirstPictureAndStaysStarted) {
    const Taker taker(false);
    EXPECT_EQ(taker.isRunning(), 0);
    ASSERT_EQ(VNTakePic2(taker.id(), path("a.jpg").c_str()), VNRES_SUCCEED);
    EXPECT_EQ(taker.isRunning(), 1);
    ASSERT_EQ(VNStop(taker.id()), VNRES_SUCCEED);
    ASSERT_EQ(VNTakePic2(taker.id(), path("b.jpg").c_str()), VNRES_SUCCEED);
    EXPECT_GE(numberIn(path("b.jpg")), numberIn(path("a.jpg")));
}

TEST_F(TakingTest, IsTheNewestPicture) {
    const Taker taker;
    const Owned<IYuvSource> camera = newYuv(320, 180, 30);
    ASSERT_TRUE(camera->ChangeUp(State::play));
    for (int i = 0; i < 20; ++i) {
        // Drain the frames received so far.
        Frame before;
        ASSERT_TRUE(camera->PullFrame(before, true));
        while (camera->PullFrame(before, false)) {
        }
        ASSERT_EQ(VNTakePic2(taker.id(), path("a.jpg").c_str()), VNRES_SUCCEED);
        const auto number = numberIn(path("a.jpg"));
        ASSERT_TRUE(number);
        EXPECT_GE(static_cast<int>(*number), before->index);
    }
}

TEST_F(TakingTest, ReplacesAnOlderPicture) {
    ASSERT_EQ(take("a.jpg", 640, 360), VNRES_SUCCEED);
    ASSERT_EQ(take("a.jpg", 320, 180), VNRES_SUCCEED);
    EXPECT_EQ(probed(path("a.jpg")), "mjpeg,320,180,yuvj420p\n");
    EXPECT_THAT(namesIn(path("")), ElementsAre("a.jpg"));
}

TEST_F(TakingTest, IsSyncedBeforeItsRenameAndItsFolderAfter) {
    using Step = FaultyFiles::Step;
    const FaultyFiles files;
    ASSERT_EQ(take("a.jpg", 320, 180), VNRES_SUCCEED);
    EXPECT_THAT(files.steps(), ElementsAre(Step::create, Step::write, Step::sync, Step::close, Step::replace,
                                           Step::syncFolder));
}

TEST_F(TakingTest, NamesMayBeAsLongAsTheFileSystemAllows) {
    const std::string name = std::string(251, 'x') + ".jpg";
    ASSERT_EQ(take(name, 320, 180), VNRES_SUCCEED);
    EXPECT_TRUE(numberIn(path(name)));
}

TEST_F(TakingTest, WithoutWaitingAPictureIsTakenNowAndWrittenLater) {
    const Owned<IPhotography> photography(IPhotography::CreateNew("vornisa"));
    Messages messages(*photography);
    ASSERT_TRUE(photography->ChangeUp(State::play));
    const std::string url = "file://" + path("a.jpg").string();
    photography->SetUrl(url.c_str());
    ASSERT_TRUE(photography->Snap(false));
    ASSERT_TRUE(photography->Snap(("file://" + path("no/a.jpg").string()).c_str(), false));
    EXPECT_EQ(messages.waitFor("name=pictureTaken"), "name=pictureTaken,url=" + url);
    EXPECT_EQ(messages.waitFor("name=pictureFailed"),
              "name=pictureFailed,url=file://" + path("no/a.jpg").string());
    EXPECT_TRUE(numberIn(path("a.jpg")));
}

TEST_F(TakingTest, PendingPicturesAreWrittenBeforeTheTakerStops) {
    const Owned<IPhotography> photography(IPhotography::CreateNew("vornisa"));
    ASSERT_TRUE(photography->ChangeUp(State::play));
    for (int i = 0; i < 8; ++i) {
        ASSERT_TRUE(photography->Snap(("file://" + path(std::to_string(i)).string()).c_str(), false));
    }
    ASSERT_TRUE(photography->ChangeDown(State::null));
    for (int i = 0; i < 8; ++i) EXPECT_TRUE(numberIn(path(std::to_string(i)))) << i;
    ASSERT_TRUE(photography->ChangeUp(State::play));
    ASSERT_TRUE(photography->Snap(("file://" + path("again").string()).c_str(), false));
    ASSERT_TRUE(photography->ChangeDown(State::null));
    EXPECT_TRUE(numberIn(path("again")));
}

}  // namespace
}  // namespace kep::host
