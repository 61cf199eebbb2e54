/** The framework's entry points and factories, as the plug-in is linked to them. */
#include "kep/entry_points.h"

#include "kep/reflect.h"
#include "kep/streaming.h"
#include "objects.h"
#include "photography.h"
#include "script.h"

namespace {

using scripted::Script;
using scripted::step;

/** The offered object as a T (null when it is none), or a new Usual when no object is offered. */
template <class T, class Usual>
T* create(const std::string& name, const std::string& arguments) {
    if (!step(name, arguments)) return nullptr;
    if (kep::object_base* const offered = Script::instance().takeOffer()) return dynamic_cast<T*>(offered);
    return new Usual;
}

using namespace scripted;

// Set before main.
PlugInCallback registered = nullptr;

}  // namespace

namespace scripted {

PlugInCallback registeredCallback() {
    return registered;
}

}  // namespace scripted

namespace kep {

object_base::~object_base() = default;

void* object_base::operator new(std::size_t size) {
    return ::operator new(size);
}

void object_base::operator delete(void* memory, std::size_t) {
    ::operator delete(memory);
}

namespace api::streaming {

IYuvSource* IYuvSource::CreateNew(const char* device) {
    using Usual = Stream<ControlPart, OutputPart, VideoPart, BitRateControlPart, IYuvSource>;
    return create<IYuvSource, Usual>("IYuvSource::CreateNew", device);
}

IH264Source* IH264Source::CreateNew(const char* device) {
    using Usual =
        Stream<ControlPart, OutputPart, VideoPart, EncoderPart, BitRateControlPart, H264Part, IH264Source>;
    return create<IH264Source, Usual>("IH264Source::CreateNew", device);
}

IPcmSource* IPcmSource::CreateNew(const char* device) {
    using Usual = Stream<ControlPart, OutputPart, AudioPart, IPcmSource>;
    return create<IPcmSource, Usual>("IPcmSource::CreateNew", device);
}

IAacSource* IAacSource::CreateNew(const char* device) {
    using Usual = Stream<ControlPart, OutputPart, AudioPart, EncoderPart, IAacSource>;
    return create<IAacSource, Usual>("IAacSource::CreateNew", device);
}

IPcmPlayer* IPcmPlayer::CreateNew(const char* device) {
    using Usual = Stream<ControlPart, InputPart, AudioPart, IPcmPlayer>;
    return create<IPcmPlayer, Usual>("IPcmPlayer::CreateNew", device);
}

IPhotography* IPhotography::CreateNew(const char* device) {
    return create<IPhotography, Photography>("IPhotography::CreateNew", device);
}

}  // namespace api::streaming
}  // namespace kep

kep::object_base* kepCreate(const char* text) {
    return create<kep::object_base, Plain<StatusPart, MessagePart>>("kepCreate", text);
}

kep::object_base* kepCreateApp(const char* text) {
    return create<kep::object_base, Plain<StatusPart, MessagePart>>("kepCreateApp", text);
}

int ReflectAdd(void (*callback)(const char*), int priority, const char* name, const char* version) {
    registered = callback;
    callback("a text of the framework");
    step("ReflectAdd", std::to_string(priority) + "," + name + "," + version);
    return 4242;
}
