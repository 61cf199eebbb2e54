#include "objects.h"

#include <new>

namespace scripted {
namespace {

std::string stateName(kep::State state) {
    switch (state) {
        case kep::State::null:
            return "null";
        case kep::State::ready:
            return "ready";
        case kep::State::play:
            return "play";
    }
    return "unknown state";
}

std::string quoted(const char* text) {
    return text ? "'" + std::string(text) + "'" : "nullptr";
}

}  // namespace

Root::Root() {
    Script::instance().objectMade();
}

Root::~Root() {
    Script::instance().objectGone();
    Script::instance().note("delete stream");
}

kep::State StatePart::CurrentState() {
    step("IState::CurrentState");
    return state;
}

bool ControlPart::ChangeUp(kep::State target) {
    if (!step("IStreamControl::ChangeUp", stateName(target))) return false;
    state = target;
    return true;
}

bool ControlPart::ChangeDown(kep::State target) {
    if (!step("IStreamControl::ChangeDown", stateName(target))) return false;
    state = target;
    return true;
}

bool ControlPart::RegisterMessageCallback(const std::function<bool(const char*)>& registered) {
    callback = registered;
    return step("IStreamControl::RegisterMessageCallback");
}

bool OutputPart::IsSupportedPullFrame() {
    return step("IStreamOutput::IsSupportedPullFrame");
}

bool OutputPart::PullFrame(std::shared_ptr<common::frame_t>& frame, bool wait) {
    if (!step("IStreamOutput::PullFrame",
              std::string(frame ? "frame" : "no frame") + "," + (wait ? "true" : "false")))
        return false;
    if (givesNoFrame) return true;
    if (frames.empty()) return false;
    auto* const data = new std::vector<unsigned char>(std::move(frames.front()));
    frames.pop_front();
    frame = std::make_shared<common::frame_t>();
    frame->data = data->data();
    frame->size = static_cast<int>(data->size());
    frame->release = [data](common::frame_t*) {
        Script::instance().note("release frame of " + std::to_string(data->size()));
        delete data;
    };
    return true;
}

bool InputPart::IsSupportedPushFrame() {
    return step("IStreamInput::IsSupportedPushFrame");
}

bool InputPart::PushFrame(std::shared_ptr<common::frame_t> frame) {
    pushed = frame;
    stampWhenPushed = frame->stamp;
    return step("IStreamInput::PushFrame", std::to_string(frame->size));
}

void EncoderPart::SetBitRate(int bitsPerSecond) {
    step("IEncoder::SetBitRate", std::to_string(bitsPerSecond));
}

void BitRateControlPart::SetFrameRate(int framesPerSecond) {
    step("IBitRateControl::SetFrameRate", std::to_string(framesPerSecond));
}

void VideoPart::SetWidth(int pixels) {
    step("IVideo::SetWidth", std::to_string(pixels));
}

void VideoPart::SetHeight(int pixels) {
    step("IVideo::SetHeight", std::to_string(pixels));
}

void H264Part::SetGop(int frames) {
    step("IH264::SetGop", std::to_string(frames));
}

void H264Part::RequestKeyFrame() {
    step("IH264::RequestKeyFrame");
}

void AudioPart::SetSampleRate(int hertz) {
    step("IAudio::SetSampleRate", std::to_string(hertz));
}

void AudioPart::SetChannels(int channels) {
    step("IAudio::SetChannels", std::to_string(channels));
}

bool StatusPart::StatusIsPlay() const {
    step("IStatus::StatusIsPlay");
    return plays;
}

bool MessagePart::RegisterMessageProcessCallback(const std::function<bool(kep::base::Message&)>& registered) {
    callback = registered;
    return step("IMessageProcesser::RegisterMessageProcessCallback");
}

bool ParamPart::Set(const char* key, void*, const std::type_info*) {
    return step("IParam::Set", quoted(key));
}

bool ParamPart::Get(const char* key, void*, const std::type_info*) const {
    return step("IParam::Get", quoted(key));
}

bool ParamPart::SetStr(const char* key, const char* value) {
    return step("IParam::SetStr", quoted(key) + "," + quoted(value));
}

bool ParamPart::SetWithType(const char* key, void*, const std::type_info*, kep::base::TypeCompatible) {
    return step("IParam::SetWithType", quoted(key));
}

bool ParamPart::GetWithType(const char* key, void*, const std::type_info*, kep::base::TypeCompatible) const {
    return step("IParam::GetWithType", quoted(key));
}

PlainObject::PlainObject() {
    Script::instance().objectMade();
}

PlainObject::~PlainObject() {
    Script::instance().objectGone();
    Script::instance().note("delete object");
}

void PlainObject::toString(std::string&) const {
    step("IAttributes::toString");
}

bool PlainObject::fromString(const char* text) {
    return step("IAttributes::fromString", quoted(text));
}

bool PlainObject::Set(const char* key, void* value, const std::type_info* type) {
    return params_.Set(key, value, type);
}

bool PlainObject::Get(const char* key, void* value, const std::type_info* type) const {
    return params_.Get(key, value, type);
}

bool PlainObject::SetStr(const char* key, const char* value) {
    return params_.SetStr(key, value);
}

bool PlainObject::SetWithType(const char* key, void* value, const std::type_info* type,
                              kep::base::TypeCompatible compatible) {
    return params_.SetWithType(key, value, type, compatible);
}

bool PlainObject::GetWithType(const char* key, void* value, const std::type_info* type,
                              kep::base::TypeCompatible compatible) const {
    return params_.GetWithType(key, value, type, compatible);
}

bool PlainObject::Enable(bool enable) {
    return step("object::Enable", enable ? "true" : "false");
}

bool PlainObject::Configure(kep::base::AttrSet&) {
    return step("object::Configure");
}

bool PlainObject::addChild(kep::base::object*) {
    return step("object::addChild");
}

bool PlainObject::fromAttrSet(kep::base::AttrSet&) {
    return step("object::fromAttrSet");
}

bool PlainObject::toAttrSet(kep::base::AttrSet&) const {
    return step("object::toAttrSet");
}

bool PlainObject::sendMessage(kep::base::Message&) {
    return step("object::sendMessage");
}

bool PlainObject::receiveMessage(kep::base::Message&) {
    return step("object::receiveMessage");
}

std::uint32_t PlainObject::NameId() const {
    step("object::NameId");
    return 0;
}

kep::base::object* PlainObject::FindChild(const std::function<bool(const kep::base::object&)>&, bool) {
    step("object::FindChild");
    return nullptr;
}

TextMessage::TextMessage(const char* text) : attributes_(text) {}

kep::base::AttrSet& TextMessage::Attributes() {
    if (!step("Message::Attributes")) throw std::bad_alloc();
    return attributes_;
}

void TextMessage::toString(std::string& text) const {
    text = attributes_.ToString(false);
}

bool TextMessage::fromString(const char* text) {
    return attributes_.Parse(text);
}

}  // namespace scripted
