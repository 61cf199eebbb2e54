#include <cstdlib>

#include "pipeline_fixture.h"

namespace kep::host {
namespace {

class BoardTest : public testing::Test {
  protected:
    BoardTest() {
        setenv("KEP_HOST_VIDEO", "test", 1);
        setenv("KEP_HOST_AUDIO", "test", 1);
    }

    static std::string reader(const std::string& name) {
        return "type=pipeline,layout={ShmSource:connect={type=pipeline,name=" + name +
               "},name=src+FifoFilter:max=8+TestSink:name=z}";
    }
};

TEST_F(BoardTest, ItsPipelinesAreThereAndRunWhileSomebodyListens) {
    for (const auto& [name, codec] :
         {std::pair("plAacSource", AV_CODEC_ID_AAC), std::pair("plPreRecordAac", AV_CODEC_ID_AAC),
          std::pair("plPreRecordH264", AV_CODEC_ID_H264)}) {
        Described reading(reader(name));
        ASSERT_TRUE(reading) << name;
        ASSERT_TRUE(reading.play()) << name;
        ASSERT_TRUE(reading.child<TestSink>("z").waitFor(20)) << name;
        EXPECT_EQ(reading.child<TestSink>("z").packets().front()->media->codec, codec);
        EXPECT_TRUE(reading.child<TestSink>("z").packets().front()->key);
    }
}

TEST_F(BoardTest, SoundAndPictureMeetOnOneClock) {
    Described app(
        "type=application,layout={type=pipeline,serialize={ShmSource:connect={type=pipeline,name="
        "plPreRecordAac},"
        "name=asrc+FifoFilter:name=afifo,max=8+ShmSource:connect={type=pipeline,name=plPreRecordH264},name="
        "vsrc,"
        "link=null+FifoFilter:name=vfifo,max=8+Sync:name=sync,link={afifo,vfifo}+TestSink:name=z}}");
    ASSERT_TRUE(app);
    ASSERT_TRUE(app.play());
    ASSERT_TRUE(app.child<TestSink>("z").waitFor(150));
    app.stop();
    const std::vector<SharedPacket> packets = app.child<TestSink>("z").packets();
    EXPECT_TRUE(packets.front()->isVideo());
    EXPECT_TRUE(packets.front()->key);
    std::size_t sounds = 0;
    for (std::size_t i = 1; i < packets.size(); ++i) {
        EXPECT_GE(packets[i]->stamp, packets[i - 1]->stamp) << i;
        if (!packets[i]->isVideo()) ++sounds;
    }
    EXPECT_GT(sounds, packets.size() / 3);
}

TEST_F(BoardTest, APastIsThereWhileSomebodyKeepsItRunning) {
    Described keeper(reader("plPreRecordH264"));
    ASSERT_TRUE(keeper);
    ASSERT_TRUE(keeper.play());
    ASSERT_TRUE(keeper.child<TestSink>("z").waitFor(40));
    const SteadyTime then = Clock::now();
    Described late(reader("plPreRecordH264"));
    ASSERT_TRUE(late);
    ASSERT_TRUE(late.play());
    ASSERT_TRUE(late.child<TestSink>("z").waitFor(40));
    EXPECT_LT(late.child<TestSink>("z").packets().front()->stamp, then - milliseconds(500));
}

}  // namespace
}  // namespace kep::host
