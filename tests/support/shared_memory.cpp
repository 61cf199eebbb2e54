#include "shared_memory.h"

#include "kep/shared_memory.h"
#include "script.h"

namespace scripted {
namespace {

int slot = 0;

}  // namespace

Memory& memory() {
    alignas(8) static Memory memory;
    return memory;
}

void setSlot(int index) {
    slot = index;
}

}  // namespace scripted

namespace kep::stream {

using scripted::step;

ISharedMemory::ISharedMemory(int size) : segment_(nullptr) {
    step("ISharedMemory", std::to_string(size));
    scripted::Script::instance().objectMade();
}

ISharedMemory::~ISharedMemory() {
    static_cast<void>(segment_);
    scripted::Script::instance().objectGone();
    scripted::Script::instance().note("~ISharedMemory");
}

bool ISharedMemory::ShmName(const char* name) {
    return step("ISharedMemory::ShmName", name);
}

void* ISharedMemory::Address() const {
    return step("ISharedMemory::Address") ? scripted::memory().segment.data() : nullptr;
}

int ISharedMemory::Slot() const {
    step("ISharedMemory::Slot");
    return scripted::slot;
}

// The plug-in has no use for these.
void ISharedMemory::toString(std::string&) const {
    step("ISharedMemory::toString");
}
bool ISharedMemory::fromString(const char*) {
    return step("ISharedMemory::fromString");
}
bool ISharedMemory::Set(const char*, void*, const std::type_info*) {
    return step("ISharedMemory::Set");
}
bool ISharedMemory::Get(const char*, void*, const std::type_info*) const {
    return step("ISharedMemory::Get");
}
bool ISharedMemory::SetStr(const char*, const char*) {
    return step("ISharedMemory::SetStr");
}
bool ISharedMemory::SetWithType(const char*, void*, const std::type_info*, base::TypeCompatible) {
    return step("ISharedMemory::SetWithType");
}
bool ISharedMemory::GetWithType(const char*, void*, const std::type_info*, base::TypeCompatible) const {
    return step("ISharedMemory::GetWithType");
}
bool ISharedMemory::Enable(bool) {
    return step("ISharedMemory::Enable");
}
bool ISharedMemory::Configure(base::AttrSet&) {
    return step("ISharedMemory::Configure");
}
bool ISharedMemory::addChild(base::object*) {
    return step("ISharedMemory::addChild");
}
bool ISharedMemory::fromAttrSet(base::AttrSet&) {
    return step("ISharedMemory::fromAttrSet");
}
bool ISharedMemory::toAttrSet(base::AttrSet&) const {
    return step("ISharedMemory::toAttrSet");
}
bool ISharedMemory::sendMessage(base::Message&) {
    return step("ISharedMemory::sendMessage");
}
bool ISharedMemory::receiveMessage(base::Message&) {
    return step("ISharedMemory::receiveMessage");
}
std::uint32_t ISharedMemory::NameId() const {
    return step("ISharedMemory::NameId");
}
base::object* ISharedMemory::FindChild(const std::function<bool(const base::object&)>&, bool) {
    step("ISharedMemory::FindChild");
    return nullptr;
}

}  // namespace kep::stream
