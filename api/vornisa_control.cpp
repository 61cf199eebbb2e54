/** Resources, their state and messages, the settings of streams, frames in and out. */
#include <cstring>
#include <memory>
#include <string>

#include "kep/message.h"
#include "kep/object.h"
#include "kep/status.h"
#include "kep/streaming.h"
#include "vornisa_check.h"
#include "vornisa_handle.h"
#include "vornisa_output.h"
#include "vornisa_registry.h"
#include "vornisa_resource.h"

using namespace kep::api::streaming::common;
using kep::State;
using kep::base::IMessageProcesser;
using kep::base::IParam;
using kep::base::Message;
using std::chrono::steady_clock;
using vornisa::asPointer;
using vornisa::objectAs;

VN_LOG_SINK(debugStreams);

std::map<int, kep::object_base*> _vornisa_maps;

int VNAcquire(int type, int* id) try {
    VN_LOG(trace, "(int)type=" << type);
    VN_FAIL_IF(!id, VNRES_INVALID_ARG);
    const vornisa::Resource* resource = vornisa::findResource(type);
    VN_FAIL_IF_SAYING(!resource, "unsupported VNRes_Type:", VNRES_INVALID_ARG, type);
    std::unique_ptr<kep::object_base> obj(resource->create(resource->text));
    VN_FAIL_IF(!obj, VNRES_FAIL);
    const int handle = vornisa::newHandle(obj.get());
    VN_FAIL_IF(!handle, VNRES_FAIL);
    *id = handle;
    // The handle owns it from here on.
    const void* const object = obj.release();
    VN_LOG(trace, object << "," << handle);
    return VNRES_SUCCEED;
}
VN_END

// Needs no function-try-block: it calls only destructors.
int VNRelease(int id) {
    VN_LOG(trace, id);
    VN_FAIL_IF(!id, VNRES_INVALID_ARG);
    kep::object_base* const obj = vornisa::endHandle(id);
    const auto entry = _vornisa_maps.find(id);
    if (entry != _vornisa_maps.end()) {
        delete entry->second;
        _vornisa_maps.erase(entry);
    }
    // An object lives as long as its last handle.
    if (obj && !vornisa::hasHandle(obj)) delete obj;
    return VNRES_SUCCEED;
}

int VNStart(int id) try {
    VN_LOG(trace, id);
    VN_FAIL_IF(!id, VNRES_INVALID_ARG);
    if (IStreamControl* ctl = objectAs<IStreamControl>(id)) {
        VN_FAIL_IF(!ctl->ChangeUp(State::play), VNRES_FAIL);
        return VNRES_SUCCEED;
    }
    IParam* rcv = objectAs<IParam>(id);
    if (!rcv) return VNRES_UNSUPPORTED;
    VN_FAIL_IF_SAYING(!rcv->SetStr("statusup", "play"), "!rcv->Set(\"statusup\",\"play\")", VNRES_FAIL);
    return VNRES_SUCCEED;
}
VN_END

int VNStop(int id) try {
    VN_LOG(trace, id);
    VN_FAIL_IF(!id, VNRES_INVALID_ARG);
    if (IStreamControl* ctl = objectAs<IStreamControl>(id)) {
        VN_FAIL_IF(!ctl->ChangeDown(State::null), VNRES_FAIL);
        return VNRES_SUCCEED;
    }
    IParam* rcv = objectAs<IParam>(id);
    if (!rcv) return VNRES_UNSUPPORTED;
    VN_FAIL_IF_SAYING(!rcv->SetStr("statusdown", "null"), "!rcv->Set(\"statusdown\",\"null\")", VNRES_FAIL);
    return VNRES_SUCCEED;
}
VN_END

// Also logged for an object without a state; camera logs are searched for it.
static const char noCallback[] = "unsupport register message callback!";

int VNIsRunning(int id, int* running) try {
    VN_FAIL_IF(!id, VNRES_INVALID_ARG);
    const kep::stream::IStatus* status = objectAs<kep::stream::IStatus>(id);
    VN_FAIL_IF_SAYING(!status, noCallback, VNRES_UNSUPPORTED);
    if (running) *running = status->StatusIsPlay() ? 1 : 0;
    return VNRES_SUCCEED;
}
VN_END

/** Registers `cb` with a stream, whose messages it gets unchanged; false when the object is not a stream. */
static bool registerWithStream(int id, VNMessageCallback cb) {
    IStreamControl* ctl = objectAs<IStreamControl>(id);
    if (!ctl) return false;
    ctl->RegisterMessageCallback([cb](const char* text) {
        cb(text);
        return true;
    });
    return true;
}

static bool deliverWithId(VNMessageCallback cb, int id, Message& message) try {
    message.Attributes().Add("id", id);
    cb(message.ToString().c_str());
    return true;
}
VN_END_OF("VNRegisterMessageCallback", false)

static bool deliverWithIdAndPointer(VNMessageCallback cb, int id, void* hd, Message& message) try {
    std::string pointer;
    kep::base::ostream_string(pointer) << hd;
    message.Attributes().Add("vornisa_id", id);
    message.Attributes().Add("vornisa_hd", pointer.c_str());
    cb(message.ToString().c_str());
    return true;
}
VN_END_OF("VNRegisterMessageCallback2", false)

int VNRegisterMessageCallback(int id, VNMessageCallback cb) try {
    VN_FAIL_IF(!id, VNRES_INVALID_ARG);
    if (registerWithStream(id, cb)) return VNRES_SUCCEED;
    IMessageProcesser* processer = objectAs<IMessageProcesser>(id);
    VN_FAIL_IF_SAYING(!processer, noCallback, VNRES_UNSUPPORTED);
    processer->RegisterMessageProcessCallback(
        [cb, id](Message& message) { return deliverWithId(cb, id, message); });
    return VNRES_SUCCEED;
}
VN_END

int VNRegisterMessageCallback2(int id, VNMessageCallback cb, void* hd) try {
    VN_FAIL_IF(!id, VNRES_INVALID_ARG);
    if (registerWithStream(id, cb)) return VNRES_SUCCEED;
    IMessageProcesser* processer = objectAs<IMessageProcesser>(id);
    VN_FAIL_IF_SAYING(!processer, noCallback, VNRES_UNSUPPORTED);
    processer->RegisterMessageProcessCallback(
        [cb, id, hd](Message& message) { return deliverWithIdAndPointer(cb, id, hd, message); });
    return VNRES_SUCCEED;
}
VN_END

int VNSetAudio(int id, int first, int second) try {
    VN_LOG(trace, id << "," << first << "," << second);
    VN_FAIL_IF(!id, VNRES_INVALID_ARG);
    IStreamControl* ctl = objectAs<IStreamControl>(id);
    VN_FAIL_IF(!ctl, VNRES_INVALID_ARG);
    IAudio* audio = dynamic_cast<IAudio*>(ctl);
    VN_FAIL_IF(!audio, VNRES_WRONG_DEVICE, ",this id is not an Audio Device!");
    audio->SetSampleRate(first);
    audio->SetChannels(second);
    return VNRES_SUCCEED;
}
VN_END

int VNSetBps(int id, int bps) try {
    VN_LOG(trace, id << "," << bps);
    VN_FAIL_IF(!id, VNRES_INVALID_ARG);
    IEncoder* enc = objectAs<IEncoder>(id);
    VN_FAIL_IF(!enc, VNRES_WRONG_DEVICE, ",this id is not an Encoder!");
    enc->SetBitRate(bps);
    return VNRES_SUCCEED;
}
VN_END

int VNSetFramerate(int id, int fps) try {
    VN_LOG(trace, id << "," << fps);
    VN_FAIL_IF(!id, VNRES_INVALID_ARG);
    IBitRateControl* vbrc = objectAs<IBitRateControl>(id);
    VN_FAIL_IF(!vbrc, VNRES_WRONG_DEVICE, ",this id is not a Video Device!");
    vbrc->SetFrameRate(fps);
    return VNRES_SUCCEED;
}
VN_END

int VNSetResolution(int id, int width, int height) try {
    VN_LOG(trace, id << "," << width << "," << height);
    VN_FAIL_IF(!id, VNRES_INVALID_ARG);
    VN_LOG(trace, asPointer(id) << "," << width << "," << height);
    IVideo* video = objectAs<IVideo>(id);
    VN_FAIL_IF(!video, VNRES_WRONG_DEVICE, ",this id is not a Video Device!", asPointer(id));
    video->SetWidth(width);
    video->SetHeight(height);
    return VNRES_SUCCEED;
}
VN_END

int VNGetKeyFrame(int id) try {
    VN_LOG(trace, id);
    VN_FAIL_IF(!id, VNRES_INVALID_ARG);
    IH264* enc = objectAs<IH264>(id);
    VN_FAIL_IF(!enc, VNRES_WRONG_DEVICE, ",this id is not an Encoder!");
    enc->RequestKeyFrame();
    return VNRES_SUCCEED;
}
VN_END

int VNSetH264Gop(int id, int gop) try {
    VN_LOG(trace, "gop=" << gop);
    VN_FAIL_IF(!id, VNRES_INVALID_ARG);
    IH264* enc = objectAs<IH264>(id);
    VN_FAIL_IF(!enc, VNRES_WRONG_DEVICE, ",this id is not an Encoder!");
    enc->SetGop(gop);
    return VNRES_SUCCEED;
}
VN_END

int VNSetParams(int id, const char* params) try {
    VN_FAIL_IF(!id, VNRES_INVALID_ARG);
    kep::base::object* obj0 = objectAs<kep::base::object>(id);
    VN_FAIL_IF(!obj0, VNRES_WRONG_DEVICE, ",this id is not an object!");
    obj0->fromString(params);
    return VNRES_SUCCEED;
}
VN_END

int VNRead(int id, char* buf, int buf_size, int count, int* len) try {
    VN_FAIL_IF(!id, VNRES_INVALID_ARG);
    IStreamOutput* output = vornisa::outputOf(id);
    VN_FAIL_IF(!output, VNRES_WRONG_DEVICE, ",", id, ":this dev can not output frame!");
    VN_FAIL_IF(!output->IsSupportedPullFrame(), VNRES_UNSUPPORTED, ",", id,
               ":this dev is not supported pull frame!");
    int total = 0;
    // Unsigned: a negative count reads until a frame is missing or does not fit.
    for (unsigned remaining = static_cast<unsigned>(count); remaining != 0; --remaining) {
        std::shared_ptr<frame_t> frm;
        VN_FAIL_IF_SAYING(!output->PullFrame(frm, true) || !frm, "!output->PullFrame(frm)", VNRES_FAIL, ",",
                          id, ":pull frame fail!");
        VN_FAIL_IF_SAYING(buf_size < std::int64_t{total} + frm->size, "buf_size<(len+frm->size)",
                          VNRES_BUF_TOO_SMALL, ",", id, "buf size is not enough.", buf_size, ",", total, "+",
                          frm->size);
        if (frm->size <= 0) continue;
        std::memcpy(buf + total, frm->data, static_cast<std::size_t>(frm->size));
        total += frm->size;
    }
    if (len) *len = total;
    return VNRES_SUCCEED;
}
VN_END

int VNFeed(int id, char* buf, int size) try {
    VN_FAIL_IF(!buf, VNRES_INVALID_ARG);
    VN_FAIL_IF(!id, VNRES_INVALID_ARG);
    IStreamInput* input = objectAs<IStreamInput>(id);
    VN_FAIL_IF(!input, VNRES_WRONG_DEVICE, ",", id, ":this dev can not input frame!");
    VN_FAIL_IF_SAYING(input->CurrentState() != State::play, "input->CurrentState()!=State::play", VNRES_FAIL,
                      ",", id, ":the status of this dev isn't start!");
    VN_FAIL_IF(!input->IsSupportedPushFrame(), VNRES_UNSUPPORTED, ",", id,
               ":this dev is not supported push frame!");
    const auto frame = std::make_shared<frame_t>();
    frame->data = reinterpret_cast<unsigned char*>(buf);
    frame->size = size;
    frame->key = true;
    frame->stamp = steady_clock::now();
    VN_FAIL_IF_SAYING(!input->PushFrame(frame), "!input->PushFrame(frm)", VNRES_PUSH_FAIL, ",", id,
                      ":push frame fail!");
    return VNRES_SUCCEED;
}
VN_END

// Needs no function-try-block: it calls only functions of this interface.
int VNSwitchResolution(int id, int width, int height) {
    VN_LOG(timing, steady_clock::now() << width << "," << height);
    VN_FAIL_IF(!id, VNRES_INVALID_ARG);
    VN_FAIL_IF_SAYING(VNStop(id) != VNRES_SUCCEED, "VNRES_SUCCEED!=VNStop(id)", VNRES_INVALID_ARG);
    VN_FAIL_IF_SAYING(VNSetResolution(id, width, height) != VNRES_SUCCEED,
                      "VNRES_SUCCEED!=VNSetResolution(id,width,height)", VNRES_INVALID_ARG);
    VN_FAIL_IF_SAYING(VNStart(id) != VNRES_SUCCEED, "VNRES_SUCCEED!=VNStart(id)", VNRES_INVALID_ARG);
    VN_LOG(timing, steady_clock::now());
    return VNRES_SUCCEED;
}
