#ifndef KEP_FIFO_BUFFER_H
#define KEP_FIFO_BUFFER_H

#include "kep/object_base.h"
#include "kep/reserve.h"
#include "kep/visibility.h"

namespace kep {
namespace base {

/** A first-in-first-out queue of bytes with a fixed capacity. */
class KEP_API FifoBuffer : public kep::object_base {
  public:
    /** Copies `size` bytes into or out of the queue. */
    typedef void (*Copy)(void* target, const void* source, int size);

    /**
     * @param name     for messages
     * @param capacity bytes
     * @param copyIn   null for a plain copy
     * @param copyOut  null for a plain copy
     */
    FifoBuffer(const char* name, int capacity, Copy copyIn, Copy copyOut);
    FifoBuffer(const FifoBuffer&) = delete;
    FifoBuffer& operator=(const FifoBuffer&) = delete;
    ~FifoBuffer() override;

    /** Capacity in bytes. */
    int Max() const;
    /** Bytes held. */
    int Size() const;
    /** Stores all of `size` bytes; false, and stores none, when they do not fit. */
    bool Push(const void* data, int size, bool wait);
    /** Copies out up to `size` bytes and returns their number. */
    int Pop(void* data, int size, bool wait);

  private:
    struct Store;
    Store* store_;
    __attribute__((unused)) unsigned char reserve_[kFifoBufferReserve];
};

}  // namespace base
}  // namespace kep

#endif
