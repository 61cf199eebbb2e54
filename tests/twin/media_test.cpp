/** Sound devices, samples, the AAC codec, files. */
#include <cstring>

#include "fixture.h"

namespace twin {
namespace {

using SoundTest = TwinTest;

TEST_F(SoundTest, QueriesDevicesBeforeSettingThem) {
    const std::string device = "vornisa_device";
    EXPECT_EQ(VN(VNSetMicVol)(-1), 0);
    EXPECT_EQ(VN(VNSetMicMute)(5), 0);
    EXPECT_EQ(VN(VNSetSpeakerVol)(70), 0);
    EXPECT_EQ(VN(VNSetSpeakerMute)(0), 0);
    EXPECT_EQ(happened(), (Events{line(29, device, "VNSetMicVol", "vol=-1"), "Microphone(vornisa)",
                                  "microphone.IsSupportVolumeControl()", "microphone.volume(-1)",
                                  line(29, device, "VNSetMicMute", "b_mute=5"), "microphone.IsSupportMute()",
                                  "microphone.mute(true)", line(29, device, "VNSetSpeakerVol", "vol=70"),
                                  "Speaker(vornisa)", "speaker.IsSupportVolumeControl()",
                                  "speaker.volume(70)", line(29, device, "VNSetSpeakerMute", "b_mute=0"),
                                  "speaker.IsSupportMute()", "speaker.mute(false)"}));
    refuse("microphone.IsSupportVolumeControl");
    refuse("speaker.IsSupportMute");
    EXPECT_EQ(VN(VNSetMicVol)(1), -3);
    EXPECT_EQ(VN(VNSetSpeakerMute)(1), -3);
    const Events all = happened();
    EXPECT_EQ(all[2], error(device, "VNSetMicVol", "!mic->IsSupportVolumeControl()"));
    EXPECT_EQ(all[5], error(device, "VNSetSpeakerMute", "!speaker->IsSupportMute()"));
}

TEST_F(SoundTest, LogsAMissingDevice) {
    const std::string device = "vornisa_device";
    refuse("Microphone");
    refuse("Speaker");
    EXPECT_EQ(VN(VNSetMicMute)(1), -2);
    EXPECT_EQ(VN(VNSetSpeakerVol)(1), -2);
    EXPECT_EQ(happened(), (Events{line(29, device, "VNSetMicMute", "b_mute=1"), "Microphone(vornisa)",
                                  error(device, "VNSetMicMute", "!mic,current microphone is null"),
                                  line(29, device, "VNSetSpeakerVol", "vol=1"), "Speaker(vornisa)",
                                  error(device, "VNSetSpeakerVol", "!speaker,current Speaker is null")}));
}

const std::string pcm = "vornisa_pcmsrc";

TEST_F(SoundTest, ReadsSamplesInTheCallersBlockSize) {
    const int id = acquire(67);
    state().frames = {"0123456789"};
    char buffer[6] = {};
    int length = 0;
    EXPECT_EQ(VN(VNReadPcm)(id, buffer, 6, &length), 0);
    EXPECT_EQ(std::string(buffer, 6), "012345");
    EXPECT_EQ(length, 6);
    EXPECT_EQ(VN(VNReadPcm)(id, buffer, 6, &length), 0);
    EXPECT_EQ(std::string(buffer, 4), "6789");
    EXPECT_EQ(length, 4);
    EXPECT_EQ(VN(VNRelease)(id), 0);
    EXPECT_EQ(
        happened(),
        (Events{"FifoBuffer(pcmsrc,131072)", "Pop(6,true)", "IsSupportedPullFrame()",
                "PullFrame(no frame,true)", "Push(10,true)", "Pop(6,true)", "frame released", "Pop(6,true)",
                error(pcm, "VNReadPcm", "len!=buf_size,4<>6"),
                line(28, "vornisa_control", "VNRelease", std::to_string(id)), "~FifoBuffer", "~stream"}));
}

TEST_F(SoundTest, LogsFailedReadsOfSamples) {
    const int id = acquire(67);
    const std::string shownId = std::to_string(id);
    char buffer[6];
    int length = 99;
    EXPECT_EQ(VN(VNReadPcm)(id, buffer, 131073, &length), -7);
    EXPECT_EQ(VN(VNReadPcm)(id, buffer, 6, &length), -1);
    state().frames = {std::string(131073, 'x'), "0123"};
    EXPECT_EQ(VN(VNReadPcm)(id, buffer, 6, &length), -5);
    refuse("Push");
    EXPECT_EQ(VN(VNReadPcm)(id, buffer, 6, &length), -4);
    refuse("IsSupportedPullFrame");
    EXPECT_EQ(VN(VNReadPcm)(id, buffer, 6, &length), -3);
    EXPECT_EQ(VN(VNReadPcm)(0, buffer, 6, &length), -7);
    EXPECT_EQ(length, 99);
    Events errors;
    for (const std::string& event : happened())
        if (event.rfind("8 ", 0) == 0) errors.push_back(event);
    const auto says = [](const std::string& text) { return error(pcm, "VNReadPcm", text); };
    EXPECT_EQ(
        errors,
        (Events{says("buf_size>buff->Max(),131073>131072"),
                says("!output->PullFrame(frm)," + shownId + ":pull frame fail!"),
                says("buff->Max() - buff->Size() < frm->size," + shownId +
                     "buf size is not enough.131072,0+131073"),
                says("!buff->Push((uint8 *) frm->data, frm->size, true)"),
                says("!output->IsSupportedPullFrame()," + shownId + ":this dev is not supported pull frame!"),
                says("!id")}));
}

bool codec(kep::object_base* object, const void* in, int& inLength, void* out, int& outLength) {
    state().codecCalledWith = object;
    note("codec(" + std::string(static_cast<const char*>(in), static_cast<std::size_t>(inLength)) + "," +
         std::to_string(outLength) + ")");
    std::memcpy(out, "AAC", 3);
    inLength = 2;
    outLength = 3;
    return !static_cast<const char*>(in)[0] || static_cast<const char*>(in)[0] != '!';
}

const std::string aac = "vornisa_aac";

TEST_F(SoundTest, ConfiguresTheCodec) {
    const int id = acquire(70);
    EXPECT_EQ(VN(VNAacCodecSet)(id, 16000, 2, 2, 64000, 8000), 0);
    EXPECT_EQ(happened(),
              (Events{"SetWithType rate(16000,integers)", "SetWithType ch(2,integers)", "Set adts(true)",
                      "SetWithType br(64000,integers)", "SetWithType bw(8000,integers)"}));
    refuse("Set adts");
    EXPECT_EQ(VN(VNAacCodecSet)(id, 16000, 2, 0, 64000, 8000), -7);
    EXPECT_EQ(VN(VNAacCodecSet)(acquire(66), 1, 2, 0, 4, 5), -7);
    EXPECT_EQ(VN(VNAacCodecSet)(0, 1, 2, 0, 4, 5), -7);
    EXPECT_EQ(happened(),
              (Events{error(aac, "VNAacCodecSet", "!codec"), error(aac, "VNAacCodecSet", "!id")}));
}

TEST_F(SoundTest, ConvertsBlocksWithThePublishedFunctions) {
    state().codec = codec;
    const int encoder = acquire(70);
    int consumed = 0;
    char out[8] = {};
    EXPECT_EQ(VN(VNAacEncode)(encoder, "pcm", 3, &consumed, out, 8), 3);
    EXPECT_EQ(consumed, 2);
    EXPECT_STREQ(out, "AAC");
    EXPECT_EQ(state().codecCalledWith, newestObject());
    EXPECT_EQ(VN(VNAacEncode)(encoder, "!", 1, nullptr, out, 8), -3);
    EXPECT_EQ(happened(), (Events{"Get funcEncodeStatic(codec function)", "codec(pcm,8)", "codec(!,8)",
                                  error(aac, "VNAacEncode", "!rst")}));
    const int decoder = acquire(71);
    EXPECT_EQ(VN(VNAacDecode)(decoder, "aac", 3, nullptr, out, 8), 3);
    EXPECT_EQ(VN(VNAacDecode)(0, "aac", 3, nullptr, out, 8), -7);
    EXPECT_EQ(happened(), (Events{"Get funcDecodeStatic(codec function)", "codec(aac,8)",
                                  error(aac, "VNAacDecode", "!id")}));
}

TEST_F(SoundTest, RefusesACodecWithoutItsFunction) {
    const int id = acquire(70);
    char out[8];
    EXPECT_EQ(VN(VNAacEncode)(id, "pcm", 3, nullptr, out, 8), -7);
    refuse("Get funcDecodeStatic");
    EXPECT_EQ(VN(VNAacDecode)(id, "pcm", 3, nullptr, out, 8), -7);
    EXPECT_EQ(VN(VNAacEncode)(acquire(66), "pcm", 3, nullptr, out, 8), -7);
    EXPECT_EQ(happened(), (Events{error(aac, "VNAacEncode", "!obj0")}));
}

using FileTest = TwinTest;

TEST_F(FileTest, ReadsTheDurationOfAFragmentedFile) {
    state().texts["duration"] = "123456789012";
    std::int64_t duration = 0;
    EXPECT_EQ(VN(VNGetFMp4Duration)("/mnt/sd/a.mp4", &duration), 0);
    EXPECT_EQ(duration, 123456789012);
    EXPECT_EQ(happened(), (Events{"kepCreate(type=fmp4-info,name=fmp4info,url=file:///mnt/sd/a.mp4)",
                                  "kepDestroy(thing)", "~Thing"}));
    const auto says = [](const std::string& text) {
        return error("vornisa_video_demux", "VNGetFMp4Duration", text);
    };
    duration = 0;
    refuse("kepDestroy");
    EXPECT_EQ(VN(VNGetFMp4Duration)("/a", &duration), -1);
    EXPECT_EQ(duration, 123456789012);
    EXPECT_EQ(happened().back(), says("!kepDestroy(obj)"));
    refuse("kepCreate");
    EXPECT_EQ(VN(VNGetFMp4Duration)("/a", &duration), -1);
    EXPECT_EQ(happened().back(), says("!obj"));
    EXPECT_EQ(VN(VNGetFMp4Duration)(nullptr, &duration), -7);
    EXPECT_EQ(VN(VNGetFMp4Duration)("/a", nullptr), -7);
    EXPECT_EQ(happened(), (Events{says("!filename"), says("!durms")}));
}

struct Track final : kep::stream::IMedia {
    void toString(std::string& text) const override { text = "codec=h264"; }
    bool fromString(const char*) override { return false; }
    int Codec() const override { return 27; }
};

struct Unit final : kep::stream::Packet {
    explicit Unit(kep::stream::IMedia* track) : media(track) {}
    const void* Data() const override { return "unit"; }
    int Size() const override { return 4; }
    std::int64_t PlayTime() const override { return -1500000; }
    bool IsKey() const override { return true; }
    kep::stream::IMedia* Media() const override { return media; }
    kep::stream::IMedia* const media;
};

VNDemuxPacket packet;
std::string description;
VNDemuxTrack track;

const std::string demux = "vornisa_demux";

TEST_F(FileTest, DemultiplexesAFile) {
    const int id = acquire(77);
    state().texts["duration"] = "9000000000000";
    int user = 0;
    VNDemuxRes res = {};
    res.filename = "/mnt/sd/a.mp4";
    res.seek_ms = 5000000000;
    res.cbfrm = [](const VNDemuxPacket* given) { packet = *given; };
    res.cbtrunk = [](const VNDemuxTrack* given) {
        track = *given;
        description = given->desc;
    };
    res.user = &user;
    EXPECT_EQ(VN(VNDemuxSet)(id, &res), 0);
    EXPECT_EQ(res.duration, 9000000000000);
    EXPECT_EQ(happened(),
              (Events{"FindChild(true)", "demux.SetStr url(file:///mnt/sd/a.mp4)", "FindChild(true)",
                      "vsink.Set funcOpen(media)", "vsink.Set funcProcess(packets)", "FindChild(true)",
                      "asink.Set funcOpen(media)", "asink.Set funcProcess(packets)", "SetStr statusup(ready)",
                      "demux.GetWithType duration(64 bits,integers)",
                      "demux.SetWithType seek(5000000000,integers)"}));
    Track media;
    Unit unit(&media);
    for (const char* const sink : {"vsink", "asink"}) {
        packet = {};
        track = {};
        description.clear();
        kep::stream::IMedia* opened = &media;
        EXPECT_TRUE(state().openFunctions.at(std::string(sink) + ".funcOpen")(nullptr, opened));
        EXPECT_EQ(static_cast<void*>(track.media), static_cast<void*>(&media));
        EXPECT_EQ(description, "codec=h264");
        EXPECT_EQ(track.user, &user);
        kep::stream::Packet* given = &unit;
        EXPECT_TRUE(state().packetFunctions.at(std::string(sink) + ".funcProcess")(given));
        EXPECT_EQ(std::memcmp(packet.data, "unit", 4), 0);
        EXPECT_EQ(packet.size, 4);
        EXPECT_EQ(packet.pts_ms, -1);
        EXPECT_EQ(packet.codec, 27);
        EXPECT_EQ(static_cast<void*>(packet.media), static_cast<void*>(&media));
        EXPECT_EQ(packet.iskey, 1);
        EXPECT_EQ(packet.user, &user);
        given = nullptr;
        EXPECT_TRUE(state().packetFunctions.at(std::string(sink) + ".funcProcess")(given));
        opened = nullptr;
        EXPECT_FALSE(state().openFunctions.at(std::string(sink) + ".funcOpen")(nullptr, opened));
        EXPECT_EQ(happened(), (Events{error(demux, "processMedia", "!media")}));
    }
    EXPECT_EQ(VN(VNDemuxSeek)(id, 6000000000), 0);
    EXPECT_EQ(happened(), (Events{"FindChild(true)", "SetWithType seek(6000000000,integers)"}));
}

TEST_F(FileTest, LogsFailuresToDemultiplexAFile) {
    const int id = acquire(77);
    state().texts["duration"] = "1";
    VNDemuxRes res = {};
    res.cbfrm = [](const VNDemuxPacket*) {};
    res.cbtrunk = [](const VNDemuxTrack*) {};
    res.filename = "/a.mp4";
    res.seek_ms = 7;
    const auto says = [](const std::string& text) { return error(demux, "VNDemuxSet", text); };
    EXPECT_EQ(VN(VNDemuxSet)(0, &res), -7);
    EXPECT_EQ(VN(VNDemuxSet)(id, nullptr), -7);
    EXPECT_EQ(happened(), (Events{says("!id"), says("!res")}));
    refuse("demux.SetWithType seek");
    EXPECT_EQ(VN(VNDemuxSet)(id, &res), -1);
    EXPECT_EQ(happened().back(), says("!demux->Set(\"seek\",res->seek_ms),7ms"));
    refuse("SetStr statusup");
    EXPECT_EQ(VN(VNDemuxSet)(id, &res), -1);
    EXPECT_EQ(happened().back(), says("!app->Set(\"statusup\",\"ready\")"));
    refuse("demux.SetStr url");
    EXPECT_EQ(VN(VNDemuxSet)(id, &res), -1);
    EXPECT_EQ(happened().back(), says("!demux->Set(\"url\",(std::string)\"file://\"+res->filename)"));
    refuse("SetWithType seek");
    EXPECT_EQ(VN(VNDemuxSeek)(id, 8), -1);
    EXPECT_EQ(VN(VNDemuxSeek)(0, 8), -7);
    EXPECT_EQ(happened(), (Events{"FindChild(true)", "SetWithType seek(8,integers)",
                                  error(demux, "VNDemuxSeek", "!obj->Set(\"seek\",pts_ms),8ms"),
                                  error(demux, "VNDemuxSeek", "!id")}));
    EXPECT_EQ(VN(VNDemuxSeek)(acquire(76), 8), -1);
    EXPECT_EQ(happened(), (Events{"FindChild(true)", error(demux, "VNDemuxSeek", "!demux")}));
}

}  // namespace
}  // namespace twin
