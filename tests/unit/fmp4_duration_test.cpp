#include "fixture.h"
#include "flat_calls.h"

namespace unit {
namespace {

std::string refused(const std::string& text) {
    return line(8, red, "api/vornisa_video_demux.cpp", "VNGetFMp4Duration", text);
}

std::string created(const std::string& filename) {
    return "kepCreate(type=fmp4-info,name=fmp4info,url=file://" + filename + ")";
}

const std::string asked = "kepAttrGetInt(info,duration)";
const std::string destroyed = "kepDestroy(info)";

class FMp4DurationTest : public PluginTest {
  protected:
    void offerFile(const char* attributes) { script.offer(new Named("info", attributes)); }

    std::int64_t duration = 17;
};

TEST_F(FMp4DurationTest, QueriesAnObjectCreatedForTheFile) {
    offerFile("duration=2316040");
    EXPECT_EQ(VNGetFMp4Duration("/mnt/sd/a.mp4", &duration), VNRES_SUCCEED);
    EXPECT_EQ(duration, 2316040);
    EXPECT_EQ(happened(), (Events{created("/mnt/sd/a.mp4"), asked, destroyed}));
    EXPECT_EQ(script.liveObjects(), 0);
}

TEST_F(FMp4DurationTest, GivesAll64Bits) {
    for (const std::int64_t value : {std::int64_t{9223372036854775807}, std::int64_t{-4294967297}}) {
        offerFile(("duration=" + std::to_string(value)).c_str());
        EXPECT_EQ(VNGetFMp4Duration("/a.mp4", &duration), VNRES_SUCCEED);
        EXPECT_EQ(duration, value);
    }
}

TEST_F(FMp4DurationTest, ReturnsTheFrameworksAnswerForAFileWithoutADuration) {
    offerFile("");
    EXPECT_EQ(VNGetFMp4Duration("/a.mp4", &duration), VNRES_SUCCEED);
    EXPECT_EQ(duration, 0);
    EXPECT_EQ(happened(), (Events{created("/a.mp4"), asked, destroyed}));
}

TEST_F(FMp4DurationTest, InsertsAnyNameUnchanged) {
    for (const std::string& filename :
         {std::string(), std::string("/a,b={c}+d%s#1.mp4"), std::string("/ä ö.mp4"), std::string(983, 'x'),
          std::string(984, 'y'), std::string(1 << 20, 'z')}) {
        offerFile("duration=5");
        EXPECT_EQ(VNGetFMp4Duration(filename.c_str(), &duration), VNRES_SUCCEED);
        EXPECT_EQ(happened(), (Events{created(filename), asked, destroyed})) << filename.size();
    }
}

TEST_F(FMp4DurationTest, RefusesANullName) {
    EXPECT_EQ(VNGetFMp4Duration(nullptr, &duration), VNRES_INVALID_ARG);
    EXPECT_EQ(duration, 17);
    EXPECT_EQ(happened(), Events{refused("!filename")});
}

TEST_F(FMp4DurationTest, RefusesANullDurationWithoutTouchingTheFile) {
    EXPECT_EQ(VNGetFMp4Duration("/a.mp4", nullptr), VNRES_INVALID_ARG);
    EXPECT_EQ(happened(), Events{refused("!durms")});
}

TEST_F(FMp4DurationTest, ChecksTheNameFirst) {
    EXPECT_EQ(VNGetFMp4Duration(nullptr, nullptr), VNRES_INVALID_ARG);
    EXPECT_EQ(happened(), Events{refused("!filename")});
}

TEST_F(FMp4DurationTest, FailsWhenTheFileCannotBeOpened) {
    script.refuse("kepCreate");
    EXPECT_EQ(VNGetFMp4Duration("/a.mp4", &duration), VNRES_FAIL);
    EXPECT_EQ(duration, 17);
    EXPECT_EQ(happened(), (Events{created("/a.mp4"), refused("!obj")}));
}

TEST_F(FMp4DurationTest, DeliversTheDurationEvenWhenClosingFails) {
    auto* const info = new Named("info", "duration=5");
    script.offer(info);
    script.refuse("kepDestroy");
    EXPECT_EQ(VNGetFMp4Duration("/a.mp4", &duration), VNRES_FAIL);
    EXPECT_EQ(duration, 5);
    EXPECT_EQ(happened(), (Events{created("/a.mp4"), asked, destroyed, refused("!kepDestroy(obj)")}));
    delete info;
}

TEST_F(FMp4DurationTest, AnExceptionOfTheFrameworkIsLogged) {
    script.throwAt("kepCreate");
    EXPECT_EQ(VNGetFMp4Duration("/a.mp4", &duration), VNRES_FAIL);
    EXPECT_EQ(duration, 17);
    EXPECT_EQ(happened(), (Events{created("/a.mp4"), refused("exception:std::bad_alloc")}));
}

}  // namespace
}  // namespace unit
