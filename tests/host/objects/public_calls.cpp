#include "public_calls.h"

#include <array>
#include <cstdint>
#include <fstream>

#include "vornisa_api.h"

namespace public_calls {
namespace {

constexpr int k360p = 230400;
constexpr const char* kVideo = "codec=h264,framerate=30,bitrate=300000,goptype=ippp,gop=15";

void ignore(const char*) {}
void ignorePacket(const VNDemuxPacket*) {}
void ignoreTrack(const VNDemuxTrack*) {}

int read(int id) {
    std::vector<char> room(640 * 360 * 2);
    int length = 0;
    return VNRead(id, room.data(), static_cast<int>(room.size()), 1, &length);
}

int readPcm(int id) {
    std::array<char, 640> room{};
    int length = 0;
    return VNReadPcm(id, room.data(), static_cast<int>(room.size()), &length);
}

int feed(int id) {
    std::array<char, 640> silence{};
    return VNFeed(id, silence.data(), static_cast<int>(silence.size()));
}

template <class Codec>
int code(int id, Codec codec) {
    std::array<char, 4096> room{};
    std::array<char, 4096> result{};
    int consumed = 0;
    return codec(id, room.data(), static_cast<int>(room.size()), &consumed, result.data(),
                 static_cast<int>(result.size()));
}

int acquire(int) {
    int id = 0;
    const int result = VNAcquire(VNRES_PCM_SOURCE, &id);
    if (result == VNRES_SUCCEED) VNRelease(id);
    return result;
}

int isRunning(int id) {
    int running = 0;
    return VNIsRunning(id, &running);
}

int setDemux(int id) {
    VNDemuxRes res{};
    res.filename = "/nowhere/a.mp4";
    res.cbfrm = ignorePacket;
    res.cbtrunk = ignoreTrack;
    return VNDemuxSet(id, &res);
}

int duration() {
    std::int64_t milliseconds = 0;
    return VNGetFMp4Duration("/nowhere/a.mp4", &milliseconds);
}

}  // namespace

std::vector<Call> everyCall(const std::filesystem::path& folder) {
    const std::string path = folder;
    return {
        // The first call in a process waits for its clip.
        {"VNRecordEventTrigger", false,
         [path](int) { return VNRecordEventTrigger(("file://" + path + "/clip.mp4").c_str()); }},
        {"VNAcquire", false, acquire},
        {"VNRelease", false, acquire},
        {"VNIsRunning", true, isRunning},
        {"VNSetAudio", true, [](int id) { return VNSetAudio(id, 16000, 1); }},
        {"VNSetBps", true, [](int id) { return VNSetBps(id, 200000); }},
        {"VNSetFramerate", true, [](int id) { return VNSetFramerate(id, 30); }},
        {"VNSetResolution", true, [](int id) { return VNSetResolution(id, 640, 360); }},
        {"VNGetKeyFrame", true, [](int id) { return VNGetKeyFrame(id); }},
        {"VNSetH264Gop", true, [](int id) { return VNSetH264Gop(id, 15); }},
        {"VNSetParams", true, [](int id) { return VNSetParams(id, "status=play"); }},
        {"VNRead", true, read},
        {"VNFeed", true, feed},
        {"VNReadPcm", true, readPcm},
        {"VNSwitchResolution", true, [](int id) { return VNSwitchResolution(id, 320, 180); }},
        {"VNTakePic2", true, [path](int id) { return VNTakePic2(id, (path + "/taken.jpg").c_str()); }},
        {"VNRecordEventServiceTrigger", true,
         [path](int id) {
             return VNRecordEventServiceTrigger(id, ("file://" + path + "/event.mp4").c_str(), 1, 0);
         }},
        {"VNDemuxSet", true, setDemux},
        {"VNDemuxSeek", true, [](int id) { return VNDemuxSeek(id, 0); }},
        {"VNAacCodecSet", true, [](int id) { return VNAacCodecSet(id, 16000, 1, 1, 32000, 8000); }},
        {"VNAacEncode", true, [](int id) { return code(id, VNAacEncode); }},
        {"VNAacDecode", true, [](int id) { return code(id, VNAacDecode); }},
        {"VNStampInit0", true, [](int id) { return VNStampInit0(id, 20, 20, "sans"); }},
        {"VNStampSet0", true, [](int id) { return VNStampSet0(id, 0, 0, VNRES_COLOR_RED, "a"); }},
        {"VNStampSet11", true, [](int id) { return VNStampSet11(id, 0, 0, 0xff0000, "a"); }},
        {"VNStampBgColorSet1", true, [](int id) { return VNStampBgColorSet1(id, 0xff0000); }},
        {"VNStampEnable0", true, [](int id) { return VNStampEnable0(id, 1); }},
        {"VNStop", true, [](int id) { return VNStop(id); }},
        {"VNStart", true, [](int id) { return VNStart(id); }},
        {"VNRegisterMessageCallback2", true,
         [](int id) { return VNRegisterMessageCallback2(id, ignore, nullptr); }},
        {"VNRegisterMessageCallback", true, [](int id) { return VNRegisterMessageCallback(id, ignore); }},
        {"VNRecMan", false,
         [path](int) { return VNRecMan(k360p, kVideo, "codec=aac", 60, path.c_str(), "one.mp4"); }},
        {"VNRecMan2", false,
         [path](int) { return VNRecMan2(k360p, kVideo, "", 60, path.c_str(), "two.mp4", nullptr); }},
        {"VNTakePic", false, [path](int) { return VNTakePic((path + "/picture.jpg").c_str(), 640, 360); }},
        {"VNGetFMp4Duration", false, [](int) { return duration(); }},
        {"VNHumanDetect", false, [](int) { return VNHumanDetect(640, 360, 5); }},
        {"VNSetMicVol", false, [](int) { return VNSetMicVol(50); }},
        {"VNSetMicMute", false, [](int) { return VNSetMicMute(0); }},
        {"VNSetSpeakerVol", false, [](int) { return VNSetSpeakerVol(50); }},
        {"VNSetSpeakerMute", false, [](int) { return VNSetSpeakerMute(0); }},
        {"VNZonesEnable", false, [](int) { return VNZonesEnable(0, 0); }},
        {"VNZonesSet", false, [](int) { return VNZonesSet(0, 0, 0, 10, 10, VNRES_COLOR_RED); }},
        {"VNZonesSet2", false, [](int) { return VNZonesSet2(0, 0, VNRES_COLOR_RED); }},
        {"VNStampInit", false, [](int) { return VNStampInit(20, 20, "sans"); }},
        {"VNStampSet", false, [](int) { return VNStampSet(0, 0, VNRES_COLOR_RED, "a"); }},
        {"VNStampSet1", false, [](int) { return VNStampSet1(0, 0, 0xff0000, "a"); }},
        {"VNStampBgColorSet", false, [](int) { return VNStampBgColorSet(0xff0000); }},
        {"VNStampEnable", false, [](int) { return VNStampEnable(1); }},
        {"VNTurnVideo", false, [](int) { return VNTurnVideo(0); }},
        {"VNAeFlick", false, [](int) { return VNAeFlick(0); }},
    };
}

std::set<std::string> exportedFunctions() {
    std::set<std::string> names;
    std::ifstream list(VORNISA_EXPORTS);
    for (std::string name; std::getline(list, name);) {
        if (name.starts_with("VN")) names.insert(name);
    }
    return names;
}

void endRecordings(int count) {
    for (int i = 0; i < count; ++i) {
        int id = 0;
        if (VNAcquire(VNRES_REC_MAN, &id) != VNRES_SUCCEED) return;
        VNStop(id);
        VNRelease(id);
    }
}

}  // namespace public_calls
