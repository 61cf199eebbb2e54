#include "clocks.h"
#include "fixture.h"
#include "flat_calls.h"
#include "standard_output.h"
#include "vornisa_resolution.h"

namespace unit {
namespace {

const char video[] = "codec=h264,framerate=25,bitrate=1500000,goptype=ippp,gop=50";
const char audio[] = "codec=aac,channels=1,bitrate=64000";
const char url[] = "file:///mnt/sd/a.mp4";

std::string said(const std::string& text) {
    return StandardOutput::line("api/vornisa_record.cpp", "VNRecMan", text);
}

/** The calls that read `key` of a set, and the line that shows what was read. */
Events read(const std::string& call, const std::string& set, const std::string& key, const std::string& label,
            const std::string& value) {
    return {call + "([" + set + "]," + key + ")", said(label + "=" + value)};
}

Events joined(std::initializer_list<Events> parts) {
    Events all;
    for (const Events& part : parts) all.insert(all.end(), part.begin(), part.end());
    return all;
}

Events argumentLines(const std::string& resolution, const std::string& inVideo, const std::string& inAudio,
                     const std::string& seconds, const std::string& path, const std::string& name) {
    return {said("resolution=" + resolution), said("in_video=" + inVideo), said("in_audio=" + inAudio),
            said("rec_sec=" + seconds),       said("path=" + path),        said("name=" + name)};
}

const Events usualArguments = argumentLines("921600", video, audio, "60", "/mnt/sd", "a.mp4");

const Events audioRead = joined({{"kepCreateAttrSet(" + std::string(audio) + ")"},
                                 read("kepAttrGetStr", audio, "codec", "_audio_codec", "aac"),
                                 read("kepAttrGetInt", audio, "channels", "_audio_channels", "1"),
                                 read("kepAttrGetInt", audio, "bitrate", "_audio_bitrate", "64000")});

const Events videoRead = joined({{"kepCreateAttrSet(" + std::string(video) + ")"},
                                 read("kepAttrGetStr", video, "codec", "_video_codec", "h264"),
                                 read("kepAttrGetInt", video, "framerate", "_framerate", "25"),
                                 read("kepAttrGetInt", video, "bitrate", "_video_bitrate", "1500000"),
                                 read("kepAttrGetStr", video, "goptype", "_h264_gop_type", "ippp"),
                                 read("kepAttrGetInt", video, "gop", "_h264_gop", "50")});

const Events urlRead = {"kepCreateAttrSet(" + std::string(url) + ")",
                        "kepAttrGetStr([" + std::string(url) + "],ext)"};

const Events setsDestroyed = {"kepDestroy([" + std::string(audio) + "])",
                              "kepDestroy([" + std::string(video) + "])",
                              "kepDestroy([" + std::string(url) + "])"};

/** The whole description, with <clock> in the place of the clock's reading. */
const char described[] =
    "type=application,name=appVornisaRecMan,layout={type=pipeline,layout={ShmSource:connect={type=pipeline,"
    "name=plAacSource},name=asrc+FifoFilter:name=afifo,max=64+ShmSource:connect={type=pipeline,layout={"
    "pv-yuv-src-adv:w=1280,h=720+FrameRateCtrl:name=frc,fr=25+encoder-h264:goptype=ippp,gop=50,br=1500000,fr="
    "25,"
    "clock=400000+FifoSink:max=2},name=plPvH264Src<clock>},name=vsrc,link=null+FifoFilter:name=vfifo,max=64+"
    "Sync:name=sync,link={afifo,vfifo}+VornisaSeamless:name=seamless,duration=60s+muxer-fmp4:name=muxer,"
    "flush=true,"
    "url={file:///mnt/sd/"
    "a.mp4,creater=ntp,temp_ext_name=part},sendmsg={recordStart={oper=AfterOpen,send={upward}},"
    "recordStop={oper=AfterClose,send={upward}}},dbg=false}}";

class RecManTest : public PluginTest {
  protected:
    ~RecManTest() override { resetFlatCalls(); }

    int record(int resolution, const char* inVideo, const char* inAudio, int seconds, const char* path,
               const char* name) {
        script.offer(&app_);
        return VNRecMan(resolution, inVideo, inAudio, seconds, path, name);
    }
    int record() { return record(921600, video, audio, 60, "/mnt/sd", "a.mp4"); }

    /** The events, with the clock's reading replaced by <clock> after checking that it lies within this test.
     */
    Events happenedWithClock() {
        Events events = happened();
        for (std::string& event : events) {
            const std::string before = "name=plPvH264Src";
            const auto at = event.find(before);
            if (at == std::string::npos) continue;
            const auto begin = at + before.size();
            const std::string digits = event.substr(begin, event.find('}', begin) - begin);
            EXPECT_TRUE(interval_.contains(digits, 1)) << digits;
            clock_ = digits;
            event.replace(begin, digits.size(), "<clock>");
        }
        return events;
    }

    /** The description passed to kepCreate, with <clock> in the place of the clock's reading. */
    std::string created() {
        const std::string call = "kepCreate(";
        for (const std::string& event : happenedWithClock())
            if (event.rfind(call, 0) == 0) return event.substr(call.size(), event.size() - call.size() - 1);
        return "nothing";
    }

    static std::string with(std::string text, const std::string& part, const std::string& other) {
        const auto at = text.find(part);
        EXPECT_NE(at, std::string::npos) << part;
        return text.replace(at, part.size(), other);
    }

    std::string clock_;

  private:
    StandardOutput output_;
    SteadyInterval interval_;
    Named app_{"app"};
};

// The description is logged twice; the sets are destroyed before the application is created.
TEST_F(RecManTest, CreatesAndStartsTheApplication) {
    EXPECT_EQ(record(), VNRES_SUCCEED);
    EXPECT_EQ(happenedWithClock(),
              joined({usualArguments,
                      audioRead,
                      videoRead,
                      urlRead,
                      {said(described), said(described)},
                      setsDestroyed,
                      {"kepCreate(" + std::string(described) + ")", "kepStatusUp(app,play)"}}));
    EXPECT_EQ(setsLeft(), 0);
}

TEST_F(RecManTest, RefusesAZeroResolutionFirst) {
    EXPECT_EQ(record(0, nullptr, nullptr, 0, nullptr, nullptr), VNRES_INVALID_ARG);
    EXPECT_EQ(happened(), (Events{said("!resolution")}));
}

TEST_F(RecManTest, RefusesZeroSeconds) {
    EXPECT_EQ(record(921600, nullptr, nullptr, 0, nullptr, nullptr), VNRES_INVALID_ARG);
    EXPECT_EQ(happened(), (Events{said("!rec_sec")}));
}

TEST_F(RecManTest, RefusesANullPath) {
    EXPECT_EQ(record(921600, nullptr, nullptr, 60, nullptr, nullptr), VNRES_INVALID_ARG);
    EXPECT_EQ(happened(), (Events{said("!path")}));
}

TEST_F(RecManTest, RefusesANullName) {
    EXPECT_EQ(record(921600, nullptr, nullptr, 60, "/mnt/sd", nullptr), VNRES_INVALID_ARG);
    EXPECT_EQ(happened(), (Events{said("!name")}));
}

TEST_F(RecManTest, KnowsThreeSizes) {
    record(2073600, video, audio, 60, "/mnt/sd", "a.mp4");
    EXPECT_EQ(created(), with(described, "w=1280,h=720", "w=1920,h=1080"));
    record(230400, video, audio, 60, "/mnt/sd", "a.mp4");
    EXPECT_EQ(created(), with(described, "w=1280,h=720", "w=640,h=360"));
}

// Deliberate: a wrong key is not an error here, and is not added to the shared table.
TEST_F(RecManTest, FallsBackSilentlyToSizeZeroForAWrongKey) {
    for (const int key : {12345, -1, 640 * 480}) {
        record(key, video, audio, 60, "/mnt/sd", "a.mp4");
        EXPECT_EQ(created(), with(described, "w=1280,h=720", "w=0,h=0"));
        EXPECT_EQ(vornisa::resolutions.count(key), 0u);
    }
}

TEST_F(RecManTest, ForwardsANegativeLength) {
    EXPECT_EQ(record(921600, video, audio, -5, "/mnt/sd", "a.mp4"), VNRES_SUCCEED);
    EXPECT_EQ(created(), with(described, "duration=60s", "duration=-5s"));
}

TEST_F(RecManTest, KeepsSettingsOf64Bits) {
    const char wide[] = "codec=h265,framerate=-5000000000,bitrate=5000000001,goptype=ibbp,gop=5000000002";
    EXPECT_EQ(record(921600, wide, audio, 60, "/mnt/sd", "a.mp4"), VNRES_SUCCEED);
    EXPECT_EQ(created(), with(with(described, "fr=25", "fr=-5000000000"),
                              "encoder-h264:goptype=ippp,gop=50,br=1500000,fr=25",
                              "encoder-h265:goptype=ibbp,gop=5000000002,br=5000000001,fr=-5000000000"));
}

// The framework returns null for a missing text, which counts as empty.
TEST_F(RecManTest, AcceptsMissingSettings) {
    EXPECT_EQ(record(921600, "", nullptr, 60, "/mnt/sd", "a.mp4"), VNRES_SUCCEED);
    const std::string empty =
        with(with(described, "name=frc,fr=25", "name=frc,fr=0"),
             "encoder-h264:goptype=ippp,gop=50,br=1500000,fr=25", "encoder-:goptype=,gop=0,br=0,fr=0");
    EXPECT_EQ(happenedWithClock(),
              joined({argumentLines("921600", "", "", "60", "/mnt/sd", "a.mp4"),
                      {"kepCreateAttrSet(nullptr)"},
                      read("kepAttrGetStr", "nullptr", "codec", "_audio_codec", ""),
                      read("kepAttrGetInt", "nullptr", "channels", "_audio_channels", "0"),
                      read("kepAttrGetInt", "nullptr", "bitrate", "_audio_bitrate", "0"),
                      {"kepCreateAttrSet()"},
                      read("kepAttrGetStr", "", "codec", "_video_codec", ""),
                      read("kepAttrGetInt", "", "framerate", "_framerate", "0"),
                      read("kepAttrGetInt", "", "bitrate", "_video_bitrate", "0"),
                      read("kepAttrGetStr", "", "goptype", "_h264_gop_type", ""),
                      read("kepAttrGetInt", "", "gop", "_h264_gop", "0"),
                      urlRead,
                      {said(empty), said(empty), "kepDestroy([nullptr])", "kepDestroy([])",
                       "kepDestroy([" + std::string(url) + "])", "kepCreate(" + empty + ")",
                       "kepStatusUp(app,play)"}}));
}

TEST_F(RecManTest, FailsWithoutAnAudioSet) {
    refuseSet(audio);
    EXPECT_EQ(record(), VNRES_INVALID_ARG);
    EXPECT_EQ(happened(), joined({usualArguments, {audioRead[0], said("!audio")}}));
}

// Deliberate, as in the two tests that follow: the sets created by then are not destroyed.
TEST_F(RecManTest, FailsWithoutAVideoSetAndLeavesTheOther) {
    refuseSet(video);
    EXPECT_EQ(record(), VNRES_INVALID_ARG);
    EXPECT_EQ(happened(), joined({usualArguments, audioRead, {videoRead[0], said("!video")}}));
    EXPECT_EQ(setsLeft(), 1);
}

TEST_F(RecManTest, FailsWithoutAUrlSetAndLeavesTheOthers) {
    refuseSet(url);
    EXPECT_EQ(record(), VNRES_INVALID_ARG);
    EXPECT_EQ(
        happened(),
        joined({usualArguments, audioRead, videoRead, {urlRead[0], said("!apurl" + std::string(url))}}));
    EXPECT_EQ(setsLeft(), 2);
}

TEST_F(RecManTest, RefusesANameWithoutExtensionAndLeavesTheSets) {
    EXPECT_EQ(record(921600, video, audio, 60, "/mnt/sd", "clip"), VNRES_INVALID_ARG);
    EXPECT_EQ(happened(),
              joined({argumentLines("921600", video, audio, "60", "/mnt/sd", "clip"),
                      audioRead,
                      videoRead,
                      {"kepCreateAttrSet(file:///mnt/sd/clip)", "kepAttrGetStr([file:///mnt/sd/clip],ext)",
                       said("!muxerclip:this file name is not extern name.")}}));
    EXPECT_EQ(setsLeft(), 3);
}

TEST_F(RecManTest, RecordsFragmentedMp4WhateverTheExtension) {
    EXPECT_EQ(record(921600, video, audio, 60, "/mnt/sd", "a.ts"), VNRES_SUCCEED);
    EXPECT_EQ(created(), with(described, "a.mp4", "a.ts"));
}

TEST_F(RecManTest, FailsWhenTheApplicationIsNotCreated) {
    script.refuse("kepCreate");
    EXPECT_EQ(record(), VNRES_FAIL);
    EXPECT_EQ(happenedWithClock(), joined({usualArguments,
                                           audioRead,
                                           videoRead,
                                           urlRead,
                                           {said(described), said(described)},
                                           setsDestroyed,
                                           {"kepCreate(" + std::string(described) + ")", said("!app")}}));
}

// Deliberate: the application is not destroyed.
TEST_F(RecManTest, FailsWhenTheApplicationDoesNotStartAndLeavesIt) {
    script.refuse("kepStatusUp");
    EXPECT_EQ(record(), VNRES_FAIL);
    EXPECT_EQ(happenedWithClock(), joined({usualArguments,
                                           audioRead,
                                           videoRead,
                                           urlRead,
                                           {said(described), said(described)},
                                           setsDestroyed,
                                           {"kepCreate(" + std::string(described) + ")",
                                            "kepStatusUp(app,play)", said("!kepStatusUp(app,\"play\")")}}));
}

TEST_F(RecManTest, GivesEachVideoPipelineANewName) {
    record();
    const std::string first = created();
    const std::string firstClock = clock_;
    record();
    EXPECT_EQ(created(), first);
    EXPECT_NE(clock_, firstClock);
}

TEST_F(RecManTest, AcceptsTextsOfAnyLength) {
    const std::string path = "/" + std::string(100000, 'p');
    const std::string name = std::string(100000, 'n') + ".mp4";
    EXPECT_EQ(record(921600, video, audio, 60, path.c_str(), name.c_str()), VNRES_SUCCEED);
    EXPECT_EQ(created(), with(described, "/mnt/sd/a.mp4", path + "/" + name));
}

// "#" marks places in the plug-in's own patterns; in a text of the caller it is an ordinary character.
TEST_F(RecManTest, KeepsTextsUnchanged) {
    EXPECT_EQ(record(921600, video, audio, 60, "/mnt/#1", "%s#.mp4"), VNRES_SUCCEED);
    EXPECT_EQ(created(), with(described, "/mnt/sd/a.mp4", "/mnt/#1/%s#.mp4"));
}

TEST_F(RecManTest, CatchesExceptions) {
    script.throwAt("kepStatusUp");
    EXPECT_EQ(record(), VNRES_FAIL);
    EXPECT_EQ(happened().back(), said("exception:std::bad_alloc"));
}

}  // namespace
}  // namespace unit
