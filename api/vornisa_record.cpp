/** Recording with all settings given by the caller. */
#include <chrono>
#include <string>

#include "kep/entry_points.h"
#include "vornisa_check.h"
#include "vornisa_rec_app.h"
#include "vornisa_text.h"

using std::chrono::steady_clock;

VN_LOG_SINK(standardOutput);

static std::int64_t nanoseconds(steady_clock::time_point time) {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(time.time_since_epoch()).count();
}

// A failure destroys nothing that was created before it: neither the attribute sets nor an application that
// did not start.
int VNRecMan(int resolution, const char* in_video, const char* in_audio, int rec_sec, const char* path,
             const char* name) try {
    VN_FAIL_IF(!resolution, VNRES_INVALID_ARG);
    VN_FAIL_IF(!rec_sec, VNRES_INVALID_ARG);
    VN_FAIL_IF(!path, VNRES_INVALID_ARG);
    VN_FAIL_IF(!name, VNRES_INVALID_ARG);
    VN_LOG(information, "resolution=" << resolution);
    VN_LOG(information, "in_video=" << in_video);
    VN_LOG(information, "in_audio=" << in_audio);
    VN_LOG(information, "rec_sec=" << rec_sec);
    VN_LOG(information, "path=" << path);
    VN_LOG(information, "name=" << name);

    vornisa::Recording recording;
    // An unknown number of pixels gives 0 by 0, which is the framework's to accept or refuse.
    recording.size = vornisa::newResolutionTable()[resolution];

    kep::object_base* const audio = kepCreateAttrSet(in_audio);
    VN_FAIL_IF(!audio, VNRES_INVALID_ARG);
    const char* const audioCodec = kepAttrGetStr(audio, "codec");
    VN_LOG(information, "_audio_codec=" << audioCodec);
    const std::int64_t audioChannels = kepAttrGetInt(audio, "channels");
    VN_LOG(information, "_audio_channels=" << audioChannels);
    const std::int64_t audioBitrate = kepAttrGetInt(audio, "bitrate");
    VN_LOG(information, "_audio_bitrate=" << audioBitrate);

    kep::object_base* const video = kepCreateAttrSet(in_video);
    VN_FAIL_IF(!video, VNRES_INVALID_ARG);
    recording.codec = kepAttrGetStr(video, "codec");
    VN_LOG(information, "_video_codec=" << recording.codec);
    recording.framerate = kepAttrGetInt(video, "framerate");
    VN_LOG(information, "_framerate=" << recording.framerate);
    recording.bitrate = kepAttrGetInt(video, "bitrate");
    VN_LOG(information, "_video_bitrate=" << recording.bitrate);
    recording.goptype = kepAttrGetStr(video, "goptype");
    VN_LOG(information, "_h264_gop_type=" << recording.goptype);
    recording.gop = kepAttrGetInt(video, "gop");
    VN_LOG(information, "_h264_gop=" << recording.gop);

    recording.url = vornisa::fileUrl(path, name);
    kep::object_base* const apurl = kepCreateAttrSet(recording.url.c_str());
    VN_FAIL_IF(!apurl, VNRES_INVALID_ARG, recording.url.c_str());
    const char* const muxer = kepAttrGetStr(apurl, "ext");
    VN_FAIL_IF(!muxer, VNRES_INVALID_ARG, name, ":this file name is not extern name.");

    recording.rateElement = vornisa::compose("FrameRateCtrl:name=frc,fr=#", {recording.framerate});
    recording.clock = 400000;
    recording.unique = std::to_string(nanoseconds(steady_clock::now()));
    recording.seconds = rec_sec;
    recording.muxer = "fmp4";  // whatever the extension says
    recording.flush = true;
    recording.dbg = false;
    const std::string description = vornisa::describe(recording);
    VN_LOG(information, description.c_str());
    VN_LOG(information, description.c_str());
    kepDestroy(audio);
    kepDestroy(video);
    kepDestroy(apurl);

    kep::object_base* const app = kepCreate(description.c_str());
    VN_FAIL_IF(!app, VNRES_FAIL);
    VN_FAIL_IF_SAYING(!kepStatusUp(app, "play"), "!kepStatusUp(app,\"play\")", VNRES_FAIL);
    return VNRES_SUCCEED;
}
VN_END
