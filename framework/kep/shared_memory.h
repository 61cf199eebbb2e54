#ifndef KEP_SHARED_MEMORY_H
#define KEP_SHARED_MEMORY_H

#include <cstdint>
#include <functional>
#include <string>

#include "kep/object.h"
#include "kep/visibility.h"

namespace kep {
namespace stream {

/** A named segment of memory shared between processes, in slots of one size. */
class KEP_API ISharedMemory : public virtual base::object {
  public:
    /** Attaches the segment of that name; true on success. */
    virtual bool ShmName(const char* name);

    void toString(std::string& text) const override;
    bool fromString(const char* text) override;
    bool Set(const char* key, void* value, const std::type_info* type) override;
    bool Get(const char* key, void* value, const std::type_info* type) const override;
    bool SetStr(const char* key, const char* value) override;
    bool SetWithType(const char* key, void* value, const std::type_info* type,
                     base::TypeCompatible compatible) override;
    bool GetWithType(const char* key, void* value, const std::type_info* type,
                     base::TypeCompatible compatible) const override;
    bool Enable(bool enable) override;
    bool Configure(base::AttrSet& attributes) override;
    bool addChild(base::object* child) override;
    bool fromAttrSet(base::AttrSet& attributes) override;
    bool toAttrSet(base::AttrSet& attributes) const override;
    bool sendMessage(base::Message& message) override;
    bool receiveMessage(base::Message& message) override;
    std::uint32_t NameId() const override;
    base::object* FindChild(const std::function<bool(const base::object&)>& matches, bool recursive) override;

  protected:
    /** @param size bytes of all slots */
    explicit ISharedMemory(int size);
    /** Detaches; the segment and what it holds stay. */
    ~ISharedMemory() override;

    /** Start of the attached segment, null while there is none. */
    void* Address() const;
    /** The slot that is current. */
    int Slot() const;

  private:
    struct Segment;
    Segment* segment_;
};

/** A shared segment of `count` records of type T. */
template <class T>
class TSharedMemory : public ISharedMemory {
  public:
    explicit TSharedMemory(int count) : ISharedMemory(static_cast<int>(sizeof(T)) * count) {}

    /** The current record; null when nothing is attached. */
    T* Record() const {
        T* first = static_cast<T*>(Address());
        return first ? first + Slot() : nullptr;
    }
};

}  // namespace stream
}  // namespace kep

#endif
