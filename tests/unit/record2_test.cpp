#include "fixture.h"
#include "parsed_texts.h"
#include "vornisa_resolution.h"

namespace unit {
namespace {

const char source[] = "api/vornisa_record2.cpp";
const char video[] = "codec=h265,framerate=15,bitrate=1500000,goptype=ibbp,gop=50,clock=300000";
const char audio[] = "codec=pcm,channels=1,bitrate=64000";

std::string said(const std::string& text) {
    return line(29, "\033[36m", source, "VNRecMan2", text);
}
std::string refusal(const std::string& text) {
    return line(8, red, source, "VNRecMan2", text);
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

Events optionLines(const std::string& protection, const std::string& dbg, const std::string& mp4) {
    return {said("powerFailProtection=" + protection), said("_dbg=" + dbg), said("mp4=" + mp4)};
}

Events audioLines(const std::string& codec, const std::string& channels, const std::string& bitrate) {
    return {said("_audio_codec=" + codec), said("_audio_channels=" + channels),
            said("_audio_bitrate=" + bitrate)};
}

Events videoLines(const std::string& codec, const std::string& framerate, const std::string& bitrate,
                  const std::string& goptype, const std::string& gop, const std::string& clock) {
    return {said("_video_codec=" + codec),     said("_framerate=" + framerate),
            said("_video_bitrate=" + bitrate), said("_h264_gop_type=" + goptype),
            said("_h264_gop=" + gop),          said("_h264_clock=" + clock)};
}

const Events usualArguments = argumentLines("921600", video, audio, "60", "/mnt/sd", "a.mp4");
const Events usualAudio = audioLines("pcm", "1", "64000");
const Events usualVideo = videoLines("h265", "15", "1500000", "ibbp", "50", "300000");
const char usualUrl[] = "IUrl::Parse(file:///mnt/sd/a.mp4)";

/** The description created for `video`, with the muxer's type, flush and dbg. */
std::string described(const std::string& muxer, const std::string& flush, const std::string& dbg,
                      const std::string& url = "file:///mnt/sd/a.mp4") {
    return "type=application,name=appVornisaRecMan,layout={type=pipeline,layout={ShmSource:connect={type="
           "pipeline,"
           "name=plAacSource},name=asrc+FifoFilter:name=afifo,max=64+ShmSource:connect={type=pipeline,layout="
           "{"
           "pv-yuv-src-adv:w=1280,h=720+FrameDroper:name=frdrop,dr=15/"
           "30+encoder-h265:goptype=ibbp,gop=50,br=1500000,"
           "fr=15,clock=300000+FifoSink:max=2},name=plPvH264Src<unique>},name=vsrc,link=null+FifoFilter:name="
           "vfifo,"
           "max=64+Sync:name=sync,link={afifo,vfifo}+VornisaSeamless:name=seamless,duration=60s+muxer-" +
           muxer + ":name=muxer,flush=" + flush + ",url={" + url +
           ",creater=ntp,temp_ext_name=part},sendmsg={recordStart={oper=AfterOpen,send={upward}},"
           "recordStop={oper=AfterClose,send={upward}}},dbg=" +
           dbg + "}}";
}

class RecMan2Test : public PluginTest {
  protected:
    RecMan2Test() { takeParsedTexts(); }

    int record(int resolution, const char* inVideo, const char* inAudio, int seconds, const char* path,
               const char* name, const char* param) {
        script.offer(&app_);
        return VNRecMan2(resolution, inVideo, inAudio, seconds, path, name, param);
    }

    /** With the settings above. */
    int record(const char* name, const char* param) {
        return record(921600, video, audio, 60, "/mnt/sd", name, param);
    }

    /** The last description that the plug-in has parsed. */
    static std::string created() {
        const std::vector<std::string> texts = takeParsedTexts();
        return texts.empty() ? "nothing" : texts.back();
    }

    static std::string with(std::string text, const std::string& part, const std::string& other) {
        const auto at = text.find(part);
        EXPECT_NE(at, std::string::npos) << part;
        return text.replace(at, part.size(), other);
    }

    /** The calls that create an object from a description, up to IClass::create. */
    static Events creation(const std::string& description) {
        return {"Object::NewPreProcessAttrSet()", "IClass::Find(application)",
                "IClass::FindBeforeNew(application)",
                "IClass::create(" + kep::base::AttrSet(description.c_str()).ToString(false) + ")"};
    }

    const Events initialised{"IClass::initObject()", "IClass::initAttrSet()"};

  private:
    PlainObject app_;
};

TEST_F(RecMan2Test, CreatesAndStartsTheApplication) {
    EXPECT_EQ(record("a.mp4", "dbg=true,mp4=whole"), VNRES_SUCCEED);
    const Events events = happened();
    EXPECT_EQ(takeParsedTexts(),
              (Events{"dbg=true,mp4=whole", audio, video, described("mp4", "false", "true")}));
    EXPECT_EQ(events, joined({usualArguments,
                              {said("param=dbg=true,mp4=whole")},
                              optionLines("false", "true", "whole"),
                              usualAudio,
                              usualVideo,
                              {usualUrl, "UniqueString()"},
                              creation(described("mp4", "false", "true")),
                              initialised,
                              {"IParam::SetStr('status','play')"}}));
}

TEST_F(RecMan2Test, HasADefaultForEverySetting) {
    EXPECT_EQ(record(230400, "", "", 60, "/mnt/sd", "a.mp4", nullptr), VNRES_SUCCEED);
    const std::string description = with(
        with(with(described("mp4", "false", "false"), "w=1280,h=720", "w=640,h=360"), "dr=15/30", "dr=0/30"),
        "encoder-h265:goptype=ibbp,gop=50,br=1500000,fr=15,clock=300000",
        "encoder-h264:goptype=ippp,gop=15,br=2000000,fr=30,clock=400000");
    const Events events = happened();
    EXPECT_EQ(takeParsedTexts(), (Events{"", "", description}));
    EXPECT_EQ(events, joined({argumentLines("230400", "", "", "60", "/mnt/sd", "a.mp4"),
                              optionLines("false", "false", ""),
                              audioLines("aac", "2", "128000"),
                              videoLines("h264", "30", "2000000", "ippp", "15", "400000"),
                              {usualUrl, "UniqueString()"},
                              creation(description),
                              initialised,
                              {"IParam::SetStr('status','play')"}}));
}

TEST_F(RecMan2Test, RefusesAZeroResolutionFirst) {
    EXPECT_EQ(record(0, nullptr, nullptr, 0, nullptr, nullptr, "}"), VNRES_INVALID_ARG);
    EXPECT_EQ(happened(), (Events{refusal("!resolution")}));
}

TEST_F(RecMan2Test, RefusesZeroSeconds) {
    EXPECT_EQ(record(921600, nullptr, nullptr, 0, nullptr, nullptr, "}"), VNRES_INVALID_ARG);
    EXPECT_EQ(happened(), (Events{refusal("!rec_sec")}));
}

TEST_F(RecMan2Test, RefusesANullPath) {
    EXPECT_EQ(record(921600, nullptr, nullptr, 60, nullptr, nullptr, "}"), VNRES_INVALID_ARG);
    EXPECT_EQ(happened(), (Events{refusal("!path")}));
}

TEST_F(RecMan2Test, RefusesANullName) {
    EXPECT_EQ(record(921600, nullptr, nullptr, 60, "/mnt/sd", nullptr, "}"), VNRES_INVALID_ARG);
    EXPECT_EQ(happened(), (Events{refusal("!name")}));
}

TEST_F(RecMan2Test, KnowsThreeSizes) {
    record(2073600, video, audio, 60, "/mnt/sd", "a.mp4", nullptr);
    EXPECT_EQ(created(), with(described("mp4", "false", "false"), "w=1280,h=720", "w=1920,h=1080"));
    record(230400, video, audio, 60, "/mnt/sd", "a.mp4", nullptr);
    EXPECT_EQ(created(), with(described("mp4", "false", "false"), "w=1280,h=720", "w=640,h=360"));
}

// Deliberate: a wrong key is not an error, and stays in the table of the process.
TEST_F(RecMan2Test, AddsARowWithoutSizeForAWrongKey) {
    const auto rows = vornisa::resolutions.size();
    for (const int key : {54321, -1, 54321}) {
        EXPECT_EQ(record(key, video, audio, 60, "/mnt/sd", "a.mp4", nullptr), VNRES_SUCCEED);
        EXPECT_EQ(created(), with(described("mp4", "false", "false"), "w=1280,h=720", "w=0,h=0"));
        ASSERT_EQ(vornisa::resolutions.count(key), 1u);
        EXPECT_EQ(vornisa::resolutions[key].width, 0);
        EXPECT_EQ(vornisa::resolutions[key].height, 0);
    }
    EXPECT_EQ(vornisa::resolutions.size(), rows + 2);
    vornisa::resolutions.erase(54321);
    vornisa::resolutions.erase(-1);
}

TEST_F(RecMan2Test, ForwardsANegativeLength) {
    EXPECT_EQ(record(921600, video, audio, -5, "/mnt/sd", "a.mp4", nullptr), VNRES_SUCCEED);
    EXPECT_EQ(created(), with(described("mp4", "false", "false"), "duration=60s", "duration=-5s"));
}

TEST_F(RecMan2Test, CountsTheFramesToDropOutOf30) {
    const struct {
        const char* framerate;
        const char* dropped;
    } rates[] = {{"30", "0"}, {"1", "29"}, {"0", "30"}, {"60", "-30"}, {"-2147483648", "2147483678"}};
    for (const auto& rate : rates) {
        const std::string settings = "framerate=" + std::string(rate.framerate);
        EXPECT_EQ(record(921600, settings.c_str(), audio, 60, "/mnt/sd", "a.mp4", nullptr), VNRES_SUCCEED);
        EXPECT_EQ(created(), with(with(described("mp4", "false", "false"), "dr=15/30",
                                       "dr=" + std::string(rate.dropped) + "/30"),
                                  "encoder-h265:goptype=ibbp,gop=50,br=1500000,fr=15,clock=300000",
                                  "encoder-h264:goptype=ippp,gop=15,br=2000000,fr=" +
                                      std::string(rate.framerate) + ",clock=400000"));
    }
}

TEST_F(RecMan2Test, RefusesOptionsThatDoNotParseBeforeReadingTheSettings) {
    EXPECT_EQ(record("a.mp4", "}"), VNRES_INVALID_ARG);
    EXPECT_EQ(happened(), joined({usualArguments, {said("param=}"), refusal("!ap.Parse(param)")}}));
    EXPECT_EQ(takeParsedTexts(), (Events{"}"}));
}

TEST_F(RecMan2Test, RefusesAudioSettingsThatDoNotParse) {
    EXPECT_EQ(record(921600, video, "}", 60, "/mnt/sd", "a.mp4", nullptr), VNRES_INVALID_ARG);
    EXPECT_EQ(happened(), joined({argumentLines("921600", video, "}", "60", "/mnt/sd", "a.mp4"),
                                  optionLines("false", "false", ""),
                                  {refusal("!audio.Parse(in_audio)")}}));
    EXPECT_EQ(takeParsedTexts(), (Events{"}"}));
}

TEST_F(RecMan2Test, RefusesVideoSettingsThatDoNotParse) {
    EXPECT_EQ(record(921600, "}", audio, 60, "/mnt/sd", "a.mp4", nullptr), VNRES_INVALID_ARG);
    EXPECT_EQ(happened(), joined({argumentLines("921600", "}", audio, "60", "/mnt/sd", "a.mp4"),
                                  optionLines("false", "false", ""),
                                  usualAudio,
                                  {refusal("!video.Parse(in_video)")}}));
    EXPECT_EQ(takeParsedTexts(), (Events{audio, "}"}));
}

// Null settings are left to the framework, whose attribute sets refuse a null text.
TEST_F(RecMan2Test, ForwardsNullSettings) {
    EXPECT_EQ(record(921600, nullptr, nullptr, 60, "/mnt/sd", "a.mp4", nullptr), VNRES_INVALID_ARG);
    EXPECT_EQ(happened(), joined({argumentLines("921600", "", "", "60", "/mnt/sd", "a.mp4"),
                                  optionLines("false", "false", ""),
                                  {refusal("!audio.Parse(in_audio)")}}));
    EXPECT_EQ(takeParsedTexts(), (Events{"nullptr"}));
    EXPECT_EQ(record(921600, nullptr, audio, 60, "/mnt/sd", "a.mp4", nullptr), VNRES_INVALID_ARG);
    EXPECT_EQ(happened().back(), refusal("!video.Parse(in_video)"));
    EXPECT_EQ(takeParsedTexts(), (Events{audio, "nullptr"}));
}

TEST_F(RecMan2Test, RefusesAUrlThatTheFrameworkRefuses) {
    script.refuse("IUrl::Parse");
    EXPECT_EQ(record("a.mp4", nullptr), VNRES_INVALID_ARG);
    EXPECT_EQ(happened(), joined({usualArguments,
                                  optionLines("false", "false", ""),
                                  usualAudio,
                                  usualVideo,
                                  {usualUrl, refusal("!IUrl::Parse(url.c_str(),apurl)")}}));
}

TEST_F(RecMan2Test, RefusesANameWithoutExtension) {
    EXPECT_EQ(record("clip", nullptr), VNRES_INVALID_ARG);
    EXPECT_EQ(happened(), joined({argumentLines("921600", video, audio, "60", "/mnt/sd", "clip"),
                                  optionLines("false", "false", ""),
                                  usualAudio,
                                  usualVideo,
                                  {"IUrl::Parse(file:///mnt/sd/clip)",
                                   refusal("!muxer,clip:this file name is not extern name.")}}));
}

TEST_F(RecMan2Test, ProtectsFilesByFlushedFragments) {
    EXPECT_EQ(record("a.mp4", "PowerFailProtection=true"), VNRES_SUCCEED);
    EXPECT_EQ(created(), described("fmp4", "true", "false"));
    const Events events = happened();
    // Unlike the key, the label begins with a lower-case letter.
    EXPECT_EQ(events[7], said("powerFailProtection=true"));
    EXPECT_EQ(record("a.MP4", "PowerFailProtection=true,mp4=whole"), VNRES_SUCCEED);
    EXPECT_EQ(created(), described("fmp4", "true", "false", "file:///mnt/sd/a.MP4"));
}

TEST_F(RecMan2Test, RefusesProtectionOfOtherContainers) {
    EXPECT_EQ(record("a.ts", "PowerFailProtection=true,mp4=fragment"), VNRES_INVALID_ARG);
    EXPECT_EQ(happened(), joined({argumentLines("921600", video, audio, "60", "/mnt/sd", "a.ts"),
                                  {said("param=PowerFailProtection=true,mp4=fragment")},
                                  optionLines("true", "false", "fragment"),
                                  usualAudio,
                                  usualVideo,
                                  {"IUrl::Parse(file:///mnt/sd/a.ts)",
                                   refusal("::Hash(muxer)!=::Hash(\"mp4\"),this container is not support "
                                           "power-fail-protection:ts")}}));
}

TEST_F(RecMan2Test, ChoosesTheContainerByTheExtension) {
    const struct {
        const char* name;
        const char* param;
        const char* muxer;
    } rows[] = {{"a.mp4", nullptr, "mp4"},         {"a.mp4", "mp4=fragment", "fmp4"},
                {"a.MP4", "mp4=FRAGMENT", "fmp4"}, {"a.MP4", "mp4=whole", "MP4"},
                {"a.ts", nullptr, "ts"},           {"a.ts", "mp4=fragment", "ts"},
                {"a.mp4", "mp4=fragments", "mp4"}, {"a.b.mp4", nullptr, "mp4"}};
    for (const auto& row : rows) {
        EXPECT_EQ(record(row.name, row.param), VNRES_SUCCEED);
        EXPECT_EQ(created(),
                  described(row.muxer, "false", "false", "file:///mnt/sd/" + std::string(row.name)));
    }
}

TEST_F(RecMan2Test, FailsWhenTheApplicationIsNotCreated) {
    script.refuse("IClass::create");
    EXPECT_EQ(record("a.mp4", nullptr), VNRES_FAIL);
    const Events events = happened();
    EXPECT_EQ(events, joined({usualArguments,
                              optionLines("false", "false", ""),
                              usualAudio,
                              usualVideo,
                              {usualUrl, "UniqueString()"},
                              creation(described("mp4", "false", "false")),
                              {refusal("!app")}}));
}

// Deliberate: the application is not destroyed.
TEST_F(RecMan2Test, FailsWhenTheApplicationDoesNotStartAndLeavesIt) {
    script.refuse("IParam::SetStr");
    EXPECT_EQ(record("a.mp4", nullptr), VNRES_FAIL);
    const Events events = happened();
    EXPECT_EQ(events,
              joined({usualArguments,
                      optionLines("false", "false", ""),
                      usualAudio,
                      usualVideo,
                      {usualUrl, "UniqueString()"},
                      creation(described("mp4", "false", "false")),
                      initialised,
                      {"IParam::SetStr('status','play')", refusal("!app->Set(\"status\",\"play\")")}}));
}

TEST_F(RecMan2Test, KeepsTextsOfAnyLengthUnchanged) {
    const std::string path = "/" + std::string(100000, 'p') + "#%s";
    const std::string name = std::string(100000, 'n') + "#.mp4";
    EXPECT_EQ(record(921600, video, audio, 60, path.c_str(), name.c_str(), nullptr), VNRES_SUCCEED);
    EXPECT_EQ(created(), described("mp4", "false", "false", "file://" + path + "/" + name));
}

TEST_F(RecMan2Test, CatchesExceptions) {
    script.throwAt("UniqueString");
    EXPECT_EQ(record("a.mp4", nullptr), VNRES_FAIL);
    EXPECT_EQ(happened().back(), refusal("exception:std::bad_alloc"));
}

}  // namespace
}  // namespace unit
