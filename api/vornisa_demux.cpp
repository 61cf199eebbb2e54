/** Demultiplexing of MP4 files into the caller's callbacks. */
#include <functional>
#include <string>

#include "kep/hash.h"
#include "kep/object.h"
#include "kep/packet.h"
#include "kep/typed_param.h"
#include "vornisa_check.h"
#include "vornisa_handle.h"

using kep::base::GetInteger;
using kep::base::object;
using kep::base::SetInteger;
using kep::base::SetTyped;
using kep::stream::IMedia;
using kep::stream::Packet;

VN_LOG_SINK(debugStreams);

typedef std::function<bool(Packet*&)> PacketFunction;
typedef std::function<bool(object*, IMedia*&)> OpenFunction;

static object* findByName(object* app, const char* name) {
    const std::uint32_t id = kep::Hash(name);
    return app->FindChild([id](const object& child) { return child.NameId() == id; }, true);
}

/** Always true: a callback that fails must not stop the sink. */
static bool processPacket(VNDemuxPacketCallback cbfrm, void* user, const Packet* packet) try {
    if (!packet) return true;
    VNDemuxPacket record = {};
    record.data = packet->Data();
    record.size = packet->Size();
    record.pts_ms = packet->PlayTime() / 1000000;
    record.media = packet->Media();
    record.codec = record.media ? record.media->Codec() : 0;
    record.iskey = packet->IsKey() ? 1 : 0;
    record.user = user;
    cbfrm(&record);
    return true;
}
VN_END_WITH(true)

static bool processMedia(VNDemuxTrackCallback cbtrunk, void* user, IMedia* media) try {
    VN_FAIL_IF(!media, false);
    const std::string desc = media->ToString();
    const VNDemuxTrack record = {media, desc.c_str(), user};
    cbtrunk(&record);
    return true;
}
VN_END_WITH(false)

int VNDemuxSet(int id, VNDemuxRes* res) try {
    VN_FAIL_IF(!id, VNRES_INVALID_ARG);
    VN_FAIL_IF(!res, VNRES_INVALID_ARG);
    VN_FAIL_IF(!res->filename, VNRES_INVALID_ARG);
    VN_FAIL_IF(!res->cbfrm, VNRES_INVALID_ARG);
    VN_FAIL_IF(!res->cbtrunk, VNRES_INVALID_ARG);
    object* app = vornisa::objectAs<object>(id);
    VN_FAIL_IF(!app, VNRES_FAIL);
    object* demux = findByName(app, "demux");
    VN_FAIL_IF(!demux, VNRES_FAIL);
    VN_FAIL_IF_SAYING(!demux->SetStr("url", (std::string("file://") + res->filename).c_str()),
                      "!demux->Set(\"url\",(std::string)\"file://\"+res->filename)", VNRES_FAIL);

    const VNDemuxPacketCallback cbfrm = res->cbfrm;
    const VNDemuxTrackCallback cbtrunk = res->cbtrunk;
    void* const user = res->user;
    const PacketFunction funcPkt = [cbfrm, user](Packet*& packet) {
        return processPacket(cbfrm, user, packet);
    };
    const OpenFunction funcOpen = [cbtrunk, user](object*, IMedia*& media) {
        return processMedia(cbtrunk, user, media);
    };
    object* vsink = findByName(app, "vsink");
    VN_FAIL_IF(!vsink, VNRES_FAIL);
    VN_FAIL_IF_SAYING(!SetTyped(*vsink, "funcOpen", funcOpen), "!vsink->Set(\"funcOpen\",funcOpen)",
                      VNRES_FAIL);
    VN_FAIL_IF_SAYING(!SetTyped(*vsink, "funcProcess", funcPkt), "!vsink->Set(\"funcProcess\",funcPkt)",
                      VNRES_FAIL);
    object* asink = findByName(app, "asink");
    VN_FAIL_IF(!asink, VNRES_FAIL);
    VN_FAIL_IF_SAYING(!SetTyped(*asink, "funcOpen", funcOpen), "!asink->Set(\"funcOpen\",funcOpen)",
                      VNRES_FAIL);
    VN_FAIL_IF_SAYING(!SetTyped(*asink, "funcProcess", funcPkt), "!asink->Set(\"funcProcess\",funcPkt)",
                      VNRES_FAIL);

    VN_FAIL_IF_SAYING(!app->SetStr("statusup", "ready"), "!app->Set(\"statusup\",\"ready\")", VNRES_FAIL);
    VN_FAIL_IF_SAYING(!GetInteger(*demux, "duration", res->duration),
                      "!demux->Get(\"duration\",res->duration)", VNRES_FAIL);
    if (res->seek_ms != 0)
        VN_FAIL_IF_SAYING(!SetInteger(*demux, "seek", res->seek_ms), "!demux->Set(\"seek\",res->seek_ms)",
                          VNRES_FAIL, ",", res->seek_ms, "ms");
    return VNRES_SUCCEED;
}
VN_END

int VNDemuxSeek(int id, int64_t pts_ms) try {
    VN_FAIL_IF(!id, VNRES_INVALID_ARG);
    object* obj = vornisa::objectAs<object>(id);
    VN_FAIL_IF(!obj, VNRES_FAIL);
    object* demux = findByName(obj, "demux");
    VN_FAIL_IF(!demux, VNRES_FAIL);
    // To the application, not to the demultiplexer: it passes the request on to all elements that need it.
    VN_FAIL_IF_SAYING(!SetInteger(*obj, "seek", pts_ms), "!obj->Set(\"seek\",pts_ms)", VNRES_FAIL, ",",
                      pts_ms, "ms");
    return VNRES_SUCCEED;
}
VN_END
