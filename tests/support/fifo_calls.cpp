#include "fifo_calls.h"

#include "kep/fifo_buffer.h"

namespace {

using kep::base::FifoBuffer;

std::vector<std::string>* calls = nullptr;

void note(const std::string& call) {
    if (calls) calls->push_back(call);
}

std::string shown(FifoBuffer::Copy copy) {
    return copy ? "a function" : "null";
}

std::string shown(int size, bool wait) {
    return "(" + std::to_string(size) + (wait ? ",true)" : ",false)");
}

}  // namespace

namespace scripted {

FifoCalls::FifoCalls() {
    calls = new std::vector<std::string>;
}

FifoCalls::~FifoCalls() {
    delete calls;
    calls = nullptr;
}

const std::vector<std::string>& FifoCalls::all() const {
    return *calls;
}

}  // namespace scripted

// The linker's --wrap redirects calls of FifoBuffer's constructor, Push and Pop here.
extern "C" {

void __real__ZN3kep4base10FifoBufferC1EPKciPFvPvPKviES8_(FifoBuffer* fifo, const char* name, int capacity,
                                                         FifoBuffer::Copy copyIn, FifoBuffer::Copy copyOut);
void __wrap__ZN3kep4base10FifoBufferC1EPKciPFvPvPKviES8_(FifoBuffer* fifo, const char* name, int capacity,
                                                         FifoBuffer::Copy copyIn, FifoBuffer::Copy copyOut) {
    note(std::string("FifoBuffer(") + name + "," + std::to_string(capacity) + "," + shown(copyIn) + "," +
         shown(copyOut) + ")");
    __real__ZN3kep4base10FifoBufferC1EPKciPFvPvPKviES8_(fifo, name, capacity, copyIn, copyOut);
}

bool __real__ZN3kep4base10FifoBuffer4PushEPKvib(FifoBuffer* fifo, const void* data, int size, bool wait);
bool __wrap__ZN3kep4base10FifoBuffer4PushEPKvib(FifoBuffer* fifo, const void* data, int size, bool wait) {
    note("Push" + shown(size, wait));
    return __real__ZN3kep4base10FifoBuffer4PushEPKvib(fifo, data, size, wait);
}

int __real__ZN3kep4base10FifoBuffer3PopEPvib(FifoBuffer* fifo, void* data, int size, bool wait);
int __wrap__ZN3kep4base10FifoBuffer3PopEPvib(FifoBuffer* fifo, void* data, int size, bool wait) {
    note("Pop" + shown(size, wait));
    return __real__ZN3kep4base10FifoBuffer3PopEPvib(fifo, data, size, wait);
}
}
