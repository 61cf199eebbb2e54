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

}  // namespace kep::stream
