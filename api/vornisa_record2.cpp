/** Recording with a default for every setting, and power-fail protection. */
#include <string>

#include "kep/attr_set.h"
#include "kep/hash.h"
#include "kep/reflect.h"
#include "kep/url.h"
#include "vornisa_check.h"
#include "vornisa_rec_app.h"
#include "vornisa_text.h"

using kep::base::AttrSet;
using kep::base::IUrl;

VN_LOG_SINK(debugStreams);

int VNRecMan2(int resolution, const char* in_video, const char* in_audio, int rec_sec, const char* path,
              const char* name, const char* param) try {
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
    // An unknown number of pixels adds an entry of 0 by 0, which is the framework's to accept or refuse.
    recording.size = vornisa::resolutions[resolution];

    AttrSet ap;
    if (param) {
        VN_LOG(information, "param=" << param);
        VN_FAIL_IF(!ap.Parse(param), VNRES_INVALID_ARG);
    }
    // The key begins with a capital letter, its name in the log line does not.
    const bool powerFailProtection = ap.GetOrDef<bool>("PowerFailProtection", false);
    VN_LOG(information, "powerFailProtection=" << powerFailProtection);
    recording.dbg = ap.GetOrDef<bool>("dbg", false);
    VN_LOG(information, "_dbg=" << recording.dbg);
    const char* const mp4 = ap.Get("mp4");
    VN_LOG(information, "mp4=" << mp4);

    AttrSet audio;
    VN_FAIL_IF(!audio.Parse(in_audio), VNRES_INVALID_ARG);
    VN_LOG(information, "_audio_codec=" << audio.GetOrDef("codec", "aac"));
    VN_LOG(information, "_audio_channels=" << audio.GetOrDef<int>("channels", 2));
    VN_LOG(information, "_audio_bitrate=" << audio.GetOrDef<int>("bitrate", 128000));

    AttrSet video;
    VN_FAIL_IF(!video.Parse(in_video), VNRES_INVALID_ARG);
    recording.codec = video.GetOrDef("codec", "h264");
    VN_LOG(information, "_video_codec=" << recording.codec);
    recording.framerate = video.GetOrDef<int>("framerate", 30);
    VN_LOG(information, "_framerate=" << recording.framerate);
    recording.bitrate = video.GetOrDef<int>("bitrate", 2000000);
    VN_LOG(information, "_video_bitrate=" << recording.bitrate);
    recording.goptype = video.GetOrDef("goptype", "ippp");
    VN_LOG(information, "_h264_gop_type=" << recording.goptype);
    recording.gop = video.GetOrDef<int>("gop", 15);
    VN_LOG(information, "_h264_gop=" << recording.gop);
    recording.clock = video.GetOrDef<int>("clock", 400000);
    VN_LOG(information, "_h264_clock=" << recording.clock);

    const std::string url = vornisa::fileUrl(path, name);
    AttrSet apurl;
    VN_FAIL_IF_SAYING(!IUrl::Parse(url.c_str(), apurl), "!IUrl::Parse(url.c_str(),apurl)", VNRES_INVALID_ARG);
    const char* muxer = apurl.Get("ext");
    VN_FAIL_IF(!muxer, VNRES_INVALID_ARG, ",", name, ":this file name is not extern name.");
    const bool isMp4 = kep::Hash(muxer) == kep::Hash("mp4");
    VN_FAIL_IF_SAYING(powerFailProtection && !isMp4, "::Hash(muxer)!=::Hash(\"mp4\")", VNRES_INVALID_ARG,
                      ",this container is not support power-fail-protection:", muxer);
    // Only a fragmented file can be read if it was not closed.
    if (powerFailProtection || (isMp4 && kep::Hash(mp4) == kep::Hash("fragment"))) muxer = "fmp4";

    recording.rateElement = vornisa::compose("FrameDroper:name=frdrop,dr=#/30", {30 - recording.framerate});
    recording.unique = kep::base::UniqueString();
    recording.seconds = rec_sec;
    recording.muxer = muxer;
    recording.flush = powerFailProtection;
    recording.url = url;
    kep::base::object* const app =
        kep::base::Object::New<kep::base::object>(vornisa::describe(recording).c_str());
    VN_FAIL_IF(!app, VNRES_FAIL);
    // An application that does not start is not destroyed.
    VN_FAIL_IF_SAYING(!app->SetStr("status", "play"), "!app->Set(\"status\",\"play\")", VNRES_FAIL);
    return VNRES_SUCCEED;
}
VN_END
