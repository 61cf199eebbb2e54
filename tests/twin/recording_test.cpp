/** Recordings, clips and the detection of people: their descriptions, creation and start. */
#include <ctime>
#include <iostream>
#include <regex>
#include <sstream>

#include "fixture.h"

namespace twin {
namespace {

/** Captures the standard output while it lives. */
class Output {
  public:
    Output() : before_(std::cout.rdbuf(text_.rdbuf())) {}
    ~Output() { std::cout.rdbuf(before_); }
    /** The lines since the last call, without path and line number; a malformed line stays whole. */
    Events lines() {
        static const std::regex form(SOURCE_ROOT "/api/(\\w+)\\.cpp/[1-9]\\d*:(\\w+:.*)");
        std::istringstream all(text_.str());
        text_.str("");
        Events lines;
        for (std::string line; std::getline(all, line);) {
            std::smatch part;
            lines.push_back(std::regex_match(line, part, form) ? part.format("$1 $2") : line);
        }
        return lines;
    }

  private:
    std::ostringstream text_;
    std::streambuf* before_;
};

/** `text` with the number after each `mark` replaced by N. */
std::string withoutNumber(const std::string& text, const std::string& mark) {
    return std::regex_replace(text, std::regex(mark + "\\d+"), mark + "N");
}

const char opening[] =
    "type=application,name=appVornisaRecMan,layout={type=pipeline,layout={ShmSource:connect={type=pipeline,"
    "name=plAacSource},name=asrc+FifoFilter:name=afifo,max=64+ShmSource:connect={type=pipeline,layout={"
    "pv-yuv-src-adv:w=";
const char sending[] =
    ",creater=ntp,temp_ext_name=part},sendmsg={recordStart={oper=AfterOpen,send={upward}},"
    "recordStop={oper=AfterClose,send={upward}}},dbg=";
const char joining[] =
    "},name=vsrc,link=null+FifoFilter:name=vfifo,max=64+Sync:name=sync,link={afifo,vfifo}+"
    "VornisaSeamless:name=seamless,duration=";

using RecordingTest = TwinTest;

TEST_F(RecordingTest, CreatesAndStartsARecording) {
    Output output;
    const char video[] = "codec=h264,framerate=25,bitrate=4000000,goptype=ippp,gop=50";
    const char audio[] = "codec=aac,channels=2,bitrate=64000";
    EXPECT_EQ(VN(VNRecMan)(921600, video, audio, 60, "/mnt/sd", "a.mp4"), 0);
    const std::string description =
        std::string(opening) +
        "1280,h=720+FrameRateCtrl:name=frc,fr=25+encoder-h264:goptype=ippp,gop=50,br=4000000,fr=25,"
        "clock=400000+FifoSink:max=2},name=plPvH264SrcN" +
        joining + "60s+muxer-fmp4:name=muxer,flush=true,url={file:///mnt/sd/a.mp4" + sending + "false}}";
    Events all = happened();
    for (std::string& event : all) event = withoutNumber(event, "plPvH264Src");
    EXPECT_EQ(all, (Events{std::string("kepCreateAttrSet(") + audio + ")",
                           std::string("kepCreateAttrSet(") + video + ")",
                           "kepCreateAttrSet(file:///mnt/sd/a.mp4)", "kepDestroy(set)", "kepDestroy(set)",
                           "kepDestroy(set)", "kepCreate(" + description + ")", "kepStatusUp(thing,play)"}));
    Events lines = output.lines();
    for (std::string& text : lines) text = withoutNumber(text, "plPvH264Src");
    const std::string head = "vornisa_record VNRecMan:";
    EXPECT_EQ(
        lines,
        (Events{head + "resolution=921600", head + "in_video=" + video, head + "in_audio=" + audio,
                head + "rec_sec=60", head + "path=/mnt/sd", head + "name=a.mp4", head + "_audio_codec=aac",
                head + "_audio_channels=2", head + "_audio_bitrate=64000", head + "_video_codec=h264",
                head + "_framerate=25", head + "_video_bitrate=4000000", head + "_h264_gop_type=ippp",
                head + "_h264_gop=50", head + description, head + description}));
    EXPECT_EQ(liveObjects(), 1);
}

TEST_F(RecordingTest, LogsAFailedRecording) {
    Output output;
    const char video[] = "codec=h264,framerate=25,bitrate=1,goptype=ippp,gop=1";
    const auto record = [&](int resolution, int seconds, const char* path, const char* name) {
        return VN(VNRecMan)(resolution, video, "codec=aac", seconds, path, name);
    };
    const auto last = [&output] { return output.lines().back(); };
    const std::string head = "vornisa_record VNRecMan:";
    EXPECT_EQ(record(0, 1, "/p", "a.mp4"), -7);
    EXPECT_EQ(last(), head + "!resolution");
    EXPECT_EQ(record(1, 0, "/p", "a.mp4"), -7);
    EXPECT_EQ(last(), head + "!rec_sec");
    EXPECT_EQ(record(1, 1, nullptr, "a.mp4"), -7);
    EXPECT_EQ(last(), head + "!path");
    EXPECT_EQ(record(1, 1, "/p", nullptr), -7);
    EXPECT_EQ(last(), head + "!name");
    EXPECT_EQ(record(1, 1, "/p", "a"), -7);
    EXPECT_EQ(last(), head + "!muxera:this file name is not extern name.");
    refuse("kepStatusUp");
    EXPECT_EQ(record(1, 1, "/p", "a.mp4"), -1);
    EXPECT_EQ(last(), head + "!kepStatusUp(app,\"play\")");
    refuse("kepCreate");
    EXPECT_EQ(record(1, 1, "/p", "a.mp4"), -1);
    EXPECT_EQ(last(), head + "!app");
    refuse("kepCreateAttrSet");
    EXPECT_EQ(record(1, 1, "/p", "a.mp4"), -7);
    EXPECT_EQ(last(), head + "!audio");
}

const char record2[] = "vornisa_record2";

TEST_F(RecordingTest, DescribesAndCreatesAProtectedRecording) {
    EXPECT_EQ(VN(VNRecMan2)(230400, "framerate=15", "channels=1", 30, "/mnt/sd", "a.mp4",
                            "PowerFailProtection=true,dbg=true"),
              0);
    Events all = happened();
    for (std::string& event : all) event = withoutNumber(event, "plPvH264Srcu");
    const auto says = [](const std::string& text) { return line(29, record2, "VNRecMan2", text); };
    const std::string description =
        std::string(opening) +
        "640,h=360+FrameDroper:name=frdrop,dr=15/30+encoder-h264:goptype=ippp,gop=15,br=2000000,fr=15,"
        "clock=400000+FifoSink:max=2},name=plPvH264SrcuN" +
        joining + "30s+muxer-fmp4:name=muxer,flush=true,url={file:///mnt/sd/a.mp4" + sending + "true}}";
    EXPECT_EQ(all, (Events{says("resolution=230400"),
                           says("in_video=framerate=15"),
                           says("in_audio=channels=1"),
                           says("rec_sec=30"),
                           says("path=/mnt/sd"),
                           says("name=a.mp4"),
                           says("param=PowerFailProtection=true,dbg=true"),
                           says("powerFailProtection=true"),
                           says("_dbg=true"),
                           says("mp4="),
                           says("_audio_codec=aac"),
                           says("_audio_channels=1"),
                           says("_audio_bitrate=128000"),
                           says("_video_codec=h264"),
                           says("_framerate=15"),
                           says("_video_bitrate=2000000"),
                           says("_h264_gop_type=ippp"),
                           says("_h264_gop=15"),
                           says("_h264_clock=400000"),
                           "IUrl::Parse(file:///mnt/sd/a.mp4)",
                           "UniqueString()",
                           "NewPreProcessAttrSet()",
                           "Find(application)",
                           "create(" + description + ")",
                           "initObject()",
                           "initAttrSet()",
                           "SetStr status(play)"}));
    EXPECT_EQ(liveObjects(), 1);
}

TEST_F(RecordingTest, LogsAFailedProtectedRecording) {
    const auto record = [this](const char* name, const char* param) {
        return VN(VNRecMan2)(1, "gop=1", "codec=aac", 1, "/p", name, param);
    };
    const auto says = [](const std::string& text) { return error(record2, "VNRecMan2", text); };
    EXPECT_EQ(record("a.ts", "PowerFailProtection=true"), -7);
    EXPECT_EQ(happened().back(), says("::Hash(muxer)!=::Hash(\"mp4\"),this container is not support "
                                      "power-fail-protection:ts"));
    EXPECT_EQ(record("a", nullptr), -7);
    EXPECT_EQ(happened().back(), says("!muxer,a:this file name is not extern name."));
    EXPECT_EQ(record("a.ts", "odd"), -7);
    EXPECT_EQ(happened().back(), says("!ap.Parse(param)"));
    EXPECT_EQ(record(nullptr, nullptr), -7);
    EXPECT_EQ(happened().back(), says("!name"));
    refuse("SetStr status");
    EXPECT_EQ(record("a.ts", nullptr), -1);
    EXPECT_EQ(happened().back(), says("!app->Set(\"status\",\"play\")"));
    refuse("create");
    EXPECT_EQ(record("a.ts", nullptr), -1);
    EXPECT_EQ(happened().back(), says("!app"));
    refuse("NewPreProcessAttrSet");
    EXPECT_EQ(record("a.ts", nullptr), -1);
    const Events all = happened();
    EXPECT_EQ(all[all.size() - 2], error("reflect", "New", "!NewPreProcessAttrSet(ap)"));
    EXPECT_EQ(all.back(), says("!app"));
}

TEST_F(RecordingTest, RecordsAClipOfAnEvent) {
    Output output;
    EXPECT_EQ(VN(VNRecordEventTrigger)("file:///a.mp4"), 0);
    Events all = happened();
    for (std::string& event : all) event = withoutNumber(event, "tp=");
    const std::string description =
        "type=pipeline,serialize={ShmSource:connect={type=pipeline,name=plPreRecordAac},name=asrc+"
        "FifoFilter:name=afifo,max=8+ShmSource:connect={type=pipeline,name=plPreRecordH264},name=vsrc,"
        "link=null+FifoFilter:name=vfifo,max=8+Sync:name=sync,link={afifo,vfifo}+RecordEventTrigger:name=evt,"
        "pre=3s,post=7s,delApp=false,dbg=false,tp=Nms+muxer-fmp4:name=muxer,url=file:///a.mp4,dbg=false}";
    const auto count = [&all](const std::string& event) { return std::count(all.begin(), all.end(), event); };
    EXPECT_EQ(all[0], "kepCreateApp(" + description + ")");
    EXPECT_EQ(all[1], "kepRegisterMessageProcess(thing)");
    EXPECT_EQ(all[2], "kepStatusUp(thing,play)");
    EXPECT_EQ(count("kepStatusDown(thing,null)"), 1);
    EXPECT_EQ(count("kepDestroy(thing)"), 1);
    EXPECT_EQ(count("kepCreateAttrSet(name=RECORDSTOP,url=file:///a.mp4)"), 1);
    EXPECT_EQ(liveObjects(), 0);
    const Events lines = output.lines();
    const std::string head = "vornisa_event_trigger ";
    const auto linesOf = [&](const std::string& text) {
        return std::count(lines.begin(), lines.end(), head + text);
    };
    EXPECT_EQ(linesOf("MessageProcess:name=recordStart"), 1);
    EXPECT_EQ(linesOf("MessageProcess:Record Start"), 1);
    EXPECT_EQ(linesOf("MessageProcess:"), 1);
    EXPECT_EQ(linesOf("MessageProcess:Record Stop"), 1);

    refuse("kepDestroy");
    EXPECT_EQ(VN(VNRecordEventTrigger)("file:///a.mp4"), -1);
    Events end = output.lines();
    EXPECT_EQ(std::count(end.begin(), end.end(), head + "Trigger:!kepDestroy(app)"), 1);
    EXPECT_EQ(end.back(), head + "VNRecordEventTrigger:!Trigger(url,tp)");
    refuse("kepCreateApp");
    EXPECT_EQ(VN(VNRecordEventTrigger)(nullptr), -1);
    end = output.lines();
    EXPECT_EQ(end[end.size() - 2], head + "Trigger:!app");
}

TEST_F(RecordingTest, TriggersAClipOfTheService) {
    Output output;
    const int id = acquire(74);
    EXPECT_EQ(VN(VNRecordEventServiceTrigger)(id, "file:///a.mp4", 5, 10), 0);
    EXPECT_EQ(withoutNumber(happened().at(0), "tp="),
              "fromString(trigger={pre=5s,post=10s,tp=Nms,url=file:///a.mp4})");
    EXPECT_EQ(VN(VNRecordEventServiceTrigger)(id, nullptr, 5, 10), 0);
    const std::string named = happened().at(0);
    EXPECT_TRUE(std::regex_search(
        named, std::regex("url=file://EVT_\\d{4}-\\d\\d-\\d\\d_\\d\\d-\\d\\d-\\d\\d\\.mp4\\}\\)$")))
        << named;
    EXPECT_EQ(VN(VNRecordEventServiceTrigger)(0, nullptr, 5, 10), -7);
    EXPECT_EQ(output.lines().back(), "vornisa_event_service_trigger VNRecordEventServiceTrigger:!id");
    EXPECT_EQ(VN(VNRecordEventServiceTrigger)(acquire(66), "file:///a.mp4", 5, 10), -2);
}

TEST_F(RecordingTest, DetectsPeopleByAnApplication) {
    const auto says = [](int stream, const std::string& text) {
        return line(stream, "vornisa_humanDetect", "VNHumanDetect", text);
    };
    const std::string description =
        "type=ShmService,index=1,name=humanShmService,partner={type=Application,name=app-humandetect,"
        "layout={type=Pipeline,name=pl-human-detect,layout={PvYuvSrcAdv:w=640,h=360+FrameRateCtrl:fr=5+"
        "HumanDetect:name=humandetection+FakeSink:live=false}}}";
    EXPECT_EQ(VN(VNHumanDetect)(640, 360, 5), 0);
    EXPECT_EQ(happened(),
              (Events{says(29, "width=640"), says(29, "height=360"), says(29, "fps=5"), says(29, description),
                      "NewPreProcessAttrSet()", "Find(ShmService)", "create(" + description + ")",
                      "initObject()", "initAttrSet()", "SetStr status(play)"}));
    EXPECT_EQ(VN(VNHumanDetect)(640, 0, 5), -7);
    EXPECT_EQ(happened(), (Events{says(8, "!height")}));
    refuse("SetStr status");
    EXPECT_EQ(VN(VNHumanDetect)(640, 360, 5), -1);
    EXPECT_EQ(happened().back(), says(8, "!obj->Set(\"status\",\"play\")"));
    refuse("Find");
    refuse("FindBeforeNew");
    EXPECT_EQ(VN(VNHumanDetect)(640, 360, 5), -1);
    EXPECT_EQ(happened().back(), says(8, "!obj"));
}

}  // namespace
}  // namespace twin
