/** The factories and their streams. */
#include <cstring>

#include "framework.h"
#include "state.h"

using kep::State;
using twin::granted;
using twin::note;
using twin::state;

namespace {

using namespace kep::api::streaming;
using namespace kep::api::streaming::common;

std::string shown(State state) {
    return std::to_string(static_cast<int>(state));
}

struct Root : virtual kep::object_base {
    Root() { twin::objectCreated(this); }
    ~Root() override {
        twin::objectDestroyed(this);
        note("~stream");
    }
};

struct Control : virtual IStreamControl {
    bool ChangeUp(State to) override {
        if (!granted("ChangeUp", shown(to))) return false;
        state().stream = to;
        return true;
    }
    bool ChangeDown(State to) override {
        if (!granted("ChangeDown", shown(to))) return false;
        state().stream = to;
        return true;
    }
    bool onMessage(const std::function<bool(const char*)>& callback) override {
        state().onText = callback;
        return granted("onMessage");
    }
};

struct Output : virtual IStreamOutput {
    bool IsSupportedPullFrame() override { return granted("IsSupportedPullFrame"); }
    bool PullFrame(std::shared_ptr<frame_t>& frame, bool wait) override {
        const std::string given = frame ? "frame" : "no frame";
        if (!granted("PullFrame", given + (wait ? ",true" : ",false")) || state().frames.empty())
            return false;
        auto* const bytes = new std::string(state().frames.front());
        state().frames.pop_front();
        frame = std::make_shared<frame_t>();
        frame->data = reinterpret_cast<unsigned char*>(bytes->data());
        frame->size = static_cast<int>(bytes->size());
        frame->release = [bytes](frame_t*) {
            note("frame released");
            delete bytes;
        };
        return true;
    }
};

struct Input : virtual IStreamInput {
    State CurrentState() override {
        note("CurrentState()");
        return state().stream;
    }
    bool IsSupportedPushFrame() override { return granted("IsSupportedPushFrame"); }
    bool PushFrame(std::shared_ptr<frame_t> frame) override {
        state().pushed = frame;
        return granted("PushFrame", std::to_string(frame->size));
    }
};

struct Encoder : virtual IEncoder {
    void bitRate(int value) override { note("bitRate(" + std::to_string(value) + ")"); }
};

struct BitRateControl : virtual IBitRateControl {
    void frameRate(int value) override { note("frameRate(" + std::to_string(value) + ")"); }
};

struct Video : virtual IVideo {
    void width(int value) override { note("width(" + std::to_string(value) + ")"); }
    void height(int value) override { note("height(" + std::to_string(value) + ")"); }
};

struct H264 : virtual IH264 {
    void group(int length) override { note("group(" + std::to_string(length) + ")"); }
    void keyFrame() override { note("keyFrame()"); }
};

struct Audio : virtual IAudio {
    void first(int value) override { note("first(" + std::to_string(value) + ")"); }
    void second(int value) override { note("second(" + std::to_string(value) + ")"); }
};

// In each object other parts precede the interface that its factory returns, so that the address of that
// interface is never the handle.

struct YuvSource final : Root, Output, Video, BitRateControl, Control, IYuvSource {};
struct H264Source final : Root, H264, Encoder, BitRateControl, Video, Output, Control, IH264Source {};
struct PcmSource final : Root, Audio, Output, Control, IPcmSource {};
struct AacSource final : Root, Encoder, Control, Output, Audio, IAacSource {};
struct PcmPlayer final : Root, Audio, Control, Input, IPcmPlayer {};

struct Photography final : Root, Control, IPhotography {
    State CurrentState() override {
        note("CurrentState()");
        return state().stream;
    }
    bool Snap(const char* text, bool wait) override {
        return granted("Snap", std::string(text) + (wait ? ",true" : ",false"));
    }
    bool Snap(bool wait) override { return granted("Snap", wait ? "true" : "false"); }
    void width(int value) override { note("width(" + std::to_string(value) + ")"); }
    void height(int value) override { note("height(" + std::to_string(value) + ")"); }
    void quality(int value) override { note("quality(" + std::to_string(value) + ")"); }
    void source(int index) override { note("source(" + std::to_string(index) + ")"); }
    void url(const char* text) override { note(std::string("url(") + text + ")"); }
};

template <class Stream>
Stream* made(const char* factory, const char* device) {
    return granted(factory, device) ? new Stream : nullptr;
}

}  // namespace

namespace kep::api::streaming {

IYuvSource* IYuvSource::CreateNew(const char* device) {
    return made<YuvSource>("IYuvSource", device);
}

IH264Source* IH264Source::CreateNew(const char* device) {
    return made<H264Source>("IH264Source", device);
}

IPcmSource* IPcmSource::CreateNew(const char* device) {
    return made<PcmSource>("IPcmSource", device);
}

IAacSource* IAacSource::CreateNew(const char* device) {
    return made<AacSource>("IAacSource", device);
}

IPcmPlayer* IPcmPlayer::CreateNew(const char* device) {
    return made<PcmPlayer>("IPcmPlayer", device);
}

IPhotography* IPhotography::CreateNew(const char* device) {
    return made<Photography>("IPhotography", device);
}

}  // namespace kep::api::streaming
