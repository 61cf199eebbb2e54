/** The root of objects, byte stores, shared memory, devices, commands and the registry of plug-ins. */
#include <cstdlib>
#include <cstring>

#include "framework.h"
#include "objects.h"
#include "state.h"

using twin::granted;
using twin::note;
using twin::state;

namespace {

int allocated = 0;

}  // namespace

int twin::lastAllocation() {
    return allocated;
}

namespace kep {

object_base::~object_base() = default;

void* object_base::operator new(std::size_t size) {
    allocated = static_cast<int>(size);
    return std::malloc(size);
}

void object_base::operator delete(void* memory, std::size_t) {
    std::free(memory);
}

namespace base {

FifoBuffer::FifoBuffer(const char* name, int capacity, Copy in, Copy out) : capacity_(capacity) {
    note(std::string("FifoBuffer(") + name + "," + std::to_string(capacity) + (in || out ? ",copies" : "") +
         ")");
    if (allocated < static_cast<int>(sizeof(FifoBuffer))) note("FifoBuffer has too little memory");
}

FifoBuffer::~FifoBuffer() {
    note("~FifoBuffer");
}

int FifoBuffer::Max() const {
    padding_.check();
    return capacity_;
}

int FifoBuffer::Size() const {
    return static_cast<int>(bytes_.size());
}

bool FifoBuffer::Push(const void* data, int size, bool wait) {
    if (!granted("Push", std::to_string(size) + (wait ? ",true" : ",false"))) return false;
    const char* const begin = static_cast<const char*>(data);
    bytes_.insert(bytes_.end(), begin, begin + size);
    return true;
}

int FifoBuffer::Pop(void* data, int size, bool wait) {
    note("Pop(" + std::to_string(size) + (wait ? ",true)" : ",false)"));
    const int count = size < Size() ? size : Size();
    if (count > 0) std::memcpy(data, bytes_.data(), static_cast<std::size_t>(count));
    bytes_.erase(bytes_.begin(), bytes_.begin() + count);
    return count;
}

Factory& Factory::Globle() {
    static Factory factory;
    return factory;
}

bool Factory::Run(const char* command, AttrSet& arguments) {
    if (!granted(std::string("Run ") + command, arguments.ToString(false))) return false;
    const auto reply = state().texts.find(arguments.GetOrDef("cmd", ""));
    if (reply != state().texts.end()) arguments.Add("ret", reply->second.c_str());
    return true;
}

bool Object::NewPreProcessAttrSet(AttrSet&) {
    return granted("NewPreProcessAttrSet");
}

namespace {

/** Creates objects as the flat calls do. */
struct Class final : IClass {
    object_base* create(AttrSet& set) override {
        return granted("create", set.ToString(false)) ? new twin::Thing(set.ToString(false)) : nullptr;
    }
    bool initObject(object_base*, AttrSet&) override { return granted("initObject"); }
    bool initAttrSet(object_base*, AttrSet&) override { return granted("initAttrSet"); }
};

Class theClass;

}  // namespace

IClass* IClass::Find(const char* type) {
    return granted("Find", type) ? &theClass : nullptr;
}

IClass* IClass::FindBeforeNew(const char* type) {
    return granted("FindBeforeNew", type) ? &theClass : nullptr;
}

}  // namespace base

namespace stream {

ISharedMemory::ISharedMemory(int size) {
    note("ISharedMemory(" + std::to_string(size) + ")");
}

ISharedMemory::~ISharedMemory() {
    note("~ISharedMemory");
}

bool ISharedMemory::ShmName(const char* name) {
    padding_.check();
    if (!granted("ShmName", name)) return false;
    attached_ = &state().segment;
    return true;
}

void* ISharedMemory::Address() const {
    padding_.check();
    return state().attaches && attached_ ? attached_->data() : nullptr;
}

int ISharedMemory::Slot() const {
    return state().slot;
}

}  // namespace stream

namespace dev {
namespace {

template <class Device>
struct Sound final : Device {
    explicit Sound(const char* name) : name_(name) {}
    bool IsSupportVolumeControl() override { return granted(name_ + ".IsSupportVolumeControl"); }
    void volume(int value) override { note(name_ + ".volume(" + std::to_string(value) + ")"); }
    bool IsSupportMute() override { return granted(name_ + ".IsSupportMute"); }
    void mute(bool on) override { note(name_ + ".mute(" + (on ? "true" : "false") + ")"); }

  private:
    const std::string name_;
};

Sound<IMicrophone> microphone("microphone");
Sound<ISpeaker> speaker("speaker");

}  // namespace

IMicrophone* IMicrophone::Microphone(const char* name) {
    return granted("Microphone", name) ? &microphone : nullptr;
}

ISpeaker* ISpeaker::Speaker(const char* name) {
    return granted("Speaker", name) ? &speaker : nullptr;
}

}  // namespace dev
}  // namespace kep

int ReflectAdd(void (*callback)(const char*), int priority, const char* name, const char* version) {
    callback("any text");
    note("ReflectAdd(" + std::to_string(priority) + "," + name + "," + version + ")");
    return 77;
}
