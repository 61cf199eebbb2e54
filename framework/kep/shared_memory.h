#ifndef KEP_SHARED_MEMORY_H
#define KEP_SHARED_MEMORY_H

#include <cstdint>
#include <functional>
#include <string>

#include "kep/object.h"
#include "kep/reserve.h"
#include "kep/visibility.h"

namespace kep {
namespace stream {

/** A named segment of memory shared between processes, in slots of one size. */
class KEP_API ISharedMemory : public virtual base::object {
  public:
    /** Attaches the segment of that name; true on success. */
    virtual bool ShmName(const char* name);

  protected:
    /** @param size bytes of all slots */
    explicit ISharedMemory(int size);
    /** Detaches; the segment keeps its contents. */
    ~ISharedMemory() override;

    /** Start of the attached segment; null while none is attached. */
    void* Address() const;
    /** The current slot. */
    int Slot() const;

  private:
    struct Segment;
    Segment* segment_;
    __attribute__((unused)) unsigned char reserve_[kSharedMemoryReserve];
};

/** Reserve behind the virtual base of a segment, which may be larger in the firmware. */
class SharedMemoryRoom {
    __attribute__((unused)) unsigned char reserve_[kSharedMemoryReserve] = {};
};

/**
 * A shared segment of `count` records of type T.
 *
 * Only the segment works; every operation of `object` is overridden to fail: the virtual table is compiled
 * into the plug-in, which would otherwise need a symbol of the framework for each operation.
 */
template <class T>
class TSharedMemory : public ISharedMemory, private virtual SharedMemoryRoom {
  public:
    explicit TSharedMemory(int count) : ISharedMemory(static_cast<int>(sizeof(T)) * count) {}

    /** The current record; null when nothing is attached. */
    T* Record() const {
        T* first = static_cast<T*>(Address());
        return first ? first + Slot() : nullptr;
    }

    void toString(std::string& text) const override { text.clear(); }
    bool fromString(const char*) override { return false; }
    bool Set(const char*, void*, const std::type_info*) override { return false; }
    bool Get(const char*, void*, const std::type_info*) const override { return false; }
    bool SetStr(const char*, const char*) override { return false; }
    bool SetWithType(const char*, void*, const std::type_info*, base::TypeCompatible) override {
        return false;
    }
    bool GetWithType(const char*, void*, const std::type_info*, base::TypeCompatible) const override {
        return false;
    }
    bool Enable(bool) override { return false; }
    bool Configure(base::AttrSet&) override { return false; }
    bool addChild(base::object*) override { return false; }
    bool fromAttrSet(base::AttrSet&) override { return false; }
    bool toAttrSet(base::AttrSet&) const override { return false; }
    bool sendMessage(base::Message&) override { return false; }
    bool receiveMessage(base::Message&) override { return false; }
    std::uint32_t NameId() const override { return 0; }
    base::object* FindChild(const std::function<bool(const base::object&)>&, bool) override {
        return nullptr;
    }
};

}  // namespace stream
}  // namespace kep

#endif
