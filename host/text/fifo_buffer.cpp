#include "kep/fifo_buffer.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>

namespace kep::base {
namespace {

/** Size of a cache line in bytes: with this alignment few copies straddle two lines. */
constexpr std::align_val_t kAlignment{64};

struct AlignedDelete {
    void operator()(unsigned char* bytes) const { ::operator delete[](bytes, kAlignment); }
};
typedef std::unique_ptr<unsigned char[], AlignedDelete> Bytes;

Bytes allocate(int capacity) {
    const auto size = static_cast<std::size_t>(std::max(capacity, 0));
    return Bytes(new (kAlignment) unsigned char[size]);
}

void plainCopy(void* target, const void* source, int size) {
    std::memcpy(target, source, static_cast<std::size_t>(size));
}

}  // namespace

/** A ring buffer: `size` bytes from `first` on, wrapping at the end. */
struct FifoBuffer::Store {
    Bytes bytes;
    int capacity;
    int first;
    int size;
    Copy copyIn;
    Copy copyOut;

    /** The index `distance` bytes, at most the capacity, after index `place`. */
    int after(int place, int distance) const {
        return distance < capacity - place ? place + distance : distance - (capacity - place);
    }
};

// The name is unused: no operation here writes a log line.
FifoBuffer::FifoBuffer(const char*, int capacity, Copy copyIn, Copy copyOut)
    : store_(new Store{allocate(capacity), std::max(capacity, 0), 0, 0, copyIn ? copyIn : plainCopy,
                       copyOut ? copyOut : plainCopy}) {}

FifoBuffer::~FifoBuffer() {
    delete store_;
}

int FifoBuffer::Max() const {
    return store_->capacity;
}

int FifoBuffer::Size() const {
    return store_->size;
}

// Reader and writer share a thread: waiting for the other end would deadlock.
bool FifoBuffer::Push(const void* data, int size, bool) {
    Store& store = *store_;
    if (size < 0 || size > store.capacity - store.size) return false;
    if (size == 0) return true;
    const int end = store.after(store.first, store.size);
    const int straight = std::min(size, store.capacity - end);
    store.copyIn(&store.bytes[end], data, straight);
    if (size > straight)
        store.copyIn(&store.bytes[0], static_cast<const unsigned char*>(data) + straight, size - straight);
    store.size += size;
    return true;
}

int FifoBuffer::Pop(void* data, int size, bool) {
    Store& store = *store_;
    const int taken = std::clamp(size, 0, store.size);
    if (taken == 0) return 0;
    const int straight = std::min(taken, store.capacity - store.first);
    store.copyOut(data, &store.bytes[store.first], straight);
    if (taken > straight)
        store.copyOut(static_cast<unsigned char*>(data) + straight, &store.bytes[0], taken - straight);
    store.size -= taken;
    // Rewind an empty ring: short frames stay in the same cache lines.
    store.first = store.size == 0 ? 0 : store.after(store.first, taken);
    return taken;
}

}  // namespace kep::base
