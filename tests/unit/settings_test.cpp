#include "fixture.h"

namespace unit {
namespace {

/** A call that forwards its values to one interface. */
struct Setting {
    const char* name;
    int (*call)(int id);
    const char* function;
    std::string (*traceOf)(int id); /**< null when the call logs no trace */
    std::vector<std::string> calls; /**< on an object that has the interface */
    kep::object_base* (*right)();
    kep::object_base* (*wrong)();
    std::string (*refusalOf)(int id);
    int wrongCode;
};

void PrintTo(const Setting& setting, std::ostream* out) {
    *out << setting.name;
}

template <class Object>
kep::object_base* make() {
    return new Object;
}

using Everything = Stream<ControlPart, OutputPart, InputPart, EncoderPart, BitRateControlPart, VideoPart,
                          H264Part, AudioPart, StatusPart, MessagePart, ParamPart>;
using EverythingButEncoder =
    Stream<ControlPart, OutputPart, InputPart, BitRateControlPart, VideoPart, H264Part, AudioPart>;
using EverythingButBitRateControl =
    Stream<ControlPart, OutputPart, InputPart, EncoderPart, VideoPart, H264Part, AudioPart>;
using EverythingButVideo =
    Stream<ControlPart, OutputPart, InputPart, EncoderPart, BitRateControlPart, H264Part, AudioPart>;
using EverythingButH264 =
    Stream<ControlPart, OutputPart, InputPart, EncoderPart, BitRateControlPart, VideoPart, AudioPart>;
using EverythingButAudio =
    Stream<ControlPart, OutputPart, InputPart, EncoderPart, BitRateControlPart, VideoPart, H264Part>;

std::string text(int id) {
    return std::to_string(id);
}

const Setting settings[] = {
    {"Audio",
     [](int id) { return VNSetAudio(id, 48000, 2); },
     "VNSetAudio",
     [](int id) { return text(id) + ",48000,2"; },
     {"IAudio::SetSampleRate(48000)", "IAudio::SetChannels(2)"},
     make<Everything>,
     make<EverythingButAudio>,
     [](int) -> std::string { return "!audio,this id is not an Audio Device!"; },
     VNRES_WRONG_DEVICE},
    {"AudioWithoutControl",
     [](int id) { return VNSetAudio(id, -1, 0); },
     "VNSetAudio",
     [](int id) { return text(id) + ",-1,0"; },
     {"IAudio::SetSampleRate(-1)", "IAudio::SetChannels(0)"},
     make<Stream<ControlPart, AudioPart>>,
     make<Stream<AudioPart>>,
     [](int) -> std::string { return "!ctl"; },
     VNRES_INVALID_ARG},
    {"AudioOfPlainObject",
     [](int id) { return VNSetAudio(id, 8000, 1); },
     "VNSetAudio",
     [](int id) { return text(id) + ",8000,1"; },
     {"IAudio::SetSampleRate(8000)", "IAudio::SetChannels(1)"},
     make<Stream<ControlPart, AudioPart>>,
     make<PlainObject>,
     [](int) -> std::string { return "!ctl"; },
     VNRES_INVALID_ARG},
    {"Bps",
     [](int id) { return VNSetBps(id, 2000000); },
     "VNSetBps",
     [](int id) { return text(id) + ",2000000"; },
     {"IEncoder::SetBitRate(2000000)"},
     make<Everything>,
     make<EverythingButEncoder>,
     [](int) -> std::string { return "!enc,this id is not an Encoder!"; },
     VNRES_WRONG_DEVICE},
    {"BpsZero",
     [](int id) { return VNSetBps(id, 0); },
     "VNSetBps",
     [](int id) { return text(id) + ",0"; },
     {"IEncoder::SetBitRate(0)"},
     make<Stream<EncoderPart>>,
     make<PlainObject>,
     [](int) -> std::string { return "!enc,this id is not an Encoder!"; },
     VNRES_WRONG_DEVICE},
    {"BpsNegative",
     [](int id) { return VNSetBps(id, -2147483647 - 1); },
     "VNSetBps",
     [](int id) { return text(id) + ",-2147483648"; },
     {"IEncoder::SetBitRate(-2147483648)"},
     make<Stream<EncoderPart>>,
     make<Stream<>>,
     [](int) -> std::string { return "!enc,this id is not an Encoder!"; },
     VNRES_WRONG_DEVICE},
    {"Framerate",
     [](int id) { return VNSetFramerate(id, 30); },
     "VNSetFramerate",
     [](int id) { return text(id) + ",30"; },
     {"IBitRateControl::SetFrameRate(30)"},
     make<Everything>,
     make<EverythingButBitRateControl>,
     [](int) -> std::string { return "!vbrc,this id is not a Video Device!"; },
     VNRES_WRONG_DEVICE},
    {"FramerateNegative",
     [](int id) { return VNSetFramerate(id, -30); },
     "VNSetFramerate",
     [](int id) { return text(id) + ",-30"; },
     {"IBitRateControl::SetFrameRate(-30)"},
     make<Stream<BitRateControlPart>>,
     make<PlainObject>,
     [](int) -> std::string { return "!vbrc,this id is not a Video Device!"; },
     VNRES_WRONG_DEVICE},
    {"KeyFrame",
     [](int id) { return VNGetKeyFrame(id); },
     "VNGetKeyFrame",
     text,
     {"IH264::RequestKeyFrame()"},
     make<Everything>,
     make<EverythingButH264>,
     [](int) -> std::string { return "!enc,this id is not an Encoder!"; },
     VNRES_WRONG_DEVICE},
    {"Gop",
     [](int id) { return VNSetH264Gop(id, 15); },
     "VNSetH264Gop",
     [](int) -> std::string { return "gop=15"; },
     {"IH264::SetGop(15)"},
     make<Everything>,
     make<EverythingButH264>,
     [](int) -> std::string { return "!enc,this id is not an Encoder!"; },
     VNRES_WRONG_DEVICE},
    {"GopNegative",
     [](int id) { return VNSetH264Gop(id, -1); },
     "VNSetH264Gop",
     [](int) -> std::string { return "gop=-1"; },
     {"IH264::SetGop(-1)"},
     make<Stream<H264Part>>,
     make<Stream<EncoderPart>>,
     [](int) -> std::string { return "!enc,this id is not an Encoder!"; },
     VNRES_WRONG_DEVICE},
    {"Params",
     [](int id) { return VNSetParams(id, "mode=1,name={a,b}"); },
     "VNSetParams",
     nullptr,
     {"IAttributes::fromString('mode=1,name={a,b}')"},
     make<PlainObject>,
     make<Everything>,
     [](int) -> std::string { return "!obj0,this id is not an object!"; },
     VNRES_WRONG_DEVICE},
    {"ParamsNull",
     [](int id) { return VNSetParams(id, nullptr); },
     "VNSetParams",
     nullptr,
     {"IAttributes::fromString(nullptr)"},
     make<PlainObject>,
     make<Stream<ParamPart>>,
     [](int) -> std::string { return "!obj0,this id is not an object!"; },
     VNRES_WRONG_DEVICE},
};

class SettingTest : public PluginTest, public ::testing::WithParamInterface<Setting> {
  protected:
    Events entry(int id) {
        return GetParam().traceOf ? Events{trace(GetParam().function, GetParam().traceOf(id))} : Events{};
    }
};

TEST_P(SettingTest, ForwardsTheValues) {
    const int id = handleOf(GetParam().right());
    EXPECT_EQ(GetParam().call(id), VNRES_SUCCEED);
    Events expected = entry(id);
    expected.insert(expected.end(), GetParam().calls.begin(), GetParam().calls.end());
    EXPECT_EQ(happened(), expected);
}

TEST_P(SettingTest, RefusesAnObjectWithoutTheInterface) {
    const int id = handleOf(GetParam().wrong());
    EXPECT_EQ(GetParam().call(id), GetParam().wrongCode);
    Events expected = entry(id);
    expected.push_back(error(GetParam().function, GetParam().refusalOf(id)));
    EXPECT_EQ(happened(), expected);
}

TEST_P(SettingTest, RefusesHandleZero) {
    EXPECT_EQ(GetParam().call(0), VNRES_INVALID_ARG);
    Events expected = entry(0);
    expected.push_back(error(GetParam().function, "!id"));
    EXPECT_EQ(happened(), expected);
}

INSTANTIATE_TEST_SUITE_P(Settings, SettingTest, ::testing::ValuesIn(settings),
                         [](const auto& test) { return std::string(test.param.name); });

using ResolutionTest = PluginTest;

TEST_F(ResolutionTest, SetsTheWidthThenTheHeight) {
    const int id = handleOf(new Stream<VideoPart>);
    EXPECT_EQ(VNSetResolution(id, 1280, 720), VNRES_SUCCEED);
    EXPECT_EQ(happened(), (Events{trace("VNSetResolution", text(id) + ",1280,720"),
                                  trace("VNSetResolution", shownHandle(id) + ",1280,720"),
                                  "IVideo::SetWidth(1280)", "IVideo::SetHeight(720)"}));
}

TEST_F(ResolutionTest, ForwardsAnySize) {
    const int id = handleOf(new Everything);
    EXPECT_EQ(VNSetResolution(id, 0, -720), VNRES_SUCCEED);
    EXPECT_EQ(happened(), (Events{trace("VNSetResolution", text(id) + ",0,-720"),
                                  trace("VNSetResolution", shownHandle(id) + ",0,-720"),
                                  "IVideo::SetWidth(0)", "IVideo::SetHeight(-720)"}));
}

TEST_F(ResolutionTest, RefusesAnObjectWithoutVideo) {
    const int id = handleOf(new EverythingButVideo);
    EXPECT_EQ(VNSetResolution(id, 640, 360), VNRES_WRONG_DEVICE);
    EXPECT_EQ(happened(),
              (Events{trace("VNSetResolution", text(id) + ",640,360"),
                      trace("VNSetResolution", shownHandle(id) + ",640,360"),
                      error("VNSetResolution", "!video,this id is not a Video Device!" + shownHandle(id))}));
}

TEST_F(ResolutionTest, RefusesHandleZero) {
    EXPECT_EQ(VNSetResolution(0, 640, 360), VNRES_INVALID_ARG);
    EXPECT_EQ(happened(), (Events{trace("VNSetResolution", "0,640,360"), error("VNSetResolution", "!id")}));
}

using ParamsTest = PluginTest;

TEST_F(ParamsTest, IgnoresTheResultOfTheObject) {
    const int id = handleOf(new PlainObject);
    script.refuse("IAttributes::fromString");
    EXPECT_EQ(VNSetParams(id, "no such=thing"), VNRES_SUCCEED);
    EXPECT_EQ(happened(), Events{"IAttributes::fromString('no such=thing')"});
}

}  // namespace
}  // namespace unit
