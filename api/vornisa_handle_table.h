#ifndef VORNISA_HANDLE_TABLE_H
#define VORNISA_HANDLE_TABLE_H

#include <climits>
#include <cstddef>
#include <new>

namespace vornisa {

/**
 * The live handles and their objects. Handles are consecutive numbers, so a released one finds nothing until
 * the counter wraps. A handle has one slot in each level, selected by its low bits; each level has twice the
 * slots of the one before it and is allocated on first use, so that slots never move.
 *
 * All operations are thread-safe, and none waits for another.
 *
 * @tparam Atomic std::atomic; a test substitutes its own, to act between any two accesses
 */
template <class Object, template <class> class Atomic>
class HandleTable {
  public:
    constexpr HandleTable() = default;
    HandleTable(const HandleTable&) = delete;
    HandleTable& operator=(const HandleTable&) = delete;

    // The first level stays usable for calls during the exit of the process.
    ~HandleTable() {
        for (auto& level : grown_) delete[] level.exchange(nullptr);
    }

    /** Returns a handle for `object` that was not used before; 0 when memory runs out. */
    int add(Object* object) noexcept {
        for (int levels = 1; levels <= kLevels; ++levels)
            for (int i = 0; i < kTries; ++i) {
                const int handle = next();
                if (find(handle)) continue;
                for (int level = 0; level < levels; ++level) {
                    Slot* slots = levelAt(level, true);
                    if (!slots) return 0;
                    if (put(slots[index(handle, level)], handle, object)) return handle;
                }
            }
        return 0;
    }

    /** The object of a handle; null when the handle is not live. */
    Object* find(int handle) noexcept {
        Object* object = nullptr;
        slotOf(handle, object);
        return object;
    }

    /** Ends a handle and returns its object, to one caller only; null when the handle is not live. */
    Object* take(int handle) noexcept {
        Object* object = nullptr;
        Slot* slot = slotOf(handle, object);
        return slot && clear(*slot, handle) ? object : nullptr;
    }

    /** Whether a handle of `object` is live. */
    bool contains(const Object* object) noexcept {
        for (int level = 0; level < kLevels; ++level) {
            Slot* slots = levelAt(level, false);
            if (!slots) return false;
            for (Slot* slot = slots; slot != slots + (kFirstSlots << level); ++slot)
                if (slot->object.load() == object) return true;
        }
        return false;
    }

  private:
    struct Slot {
        Atomic<int> handle{0};
        Atomic<Object*> object{nullptr};
    };

    /** Marks a slot while its object is stored or removed. Handles are never negative. */
    static constexpr int kBusy = -1;

    // More than sixty thousand slots; 1 MiB when all levels are allocated.
    static constexpr unsigned kFirstSlots = 256;
    static constexpr int kLevels = 8;

    /** Consecutive handles that may find their slots occupied before the table grows. */
    static constexpr int kTries = 8;

    static std::size_t index(int handle, int level) {
        return static_cast<unsigned>(handle) & ((kFirstSlots << level) - 1);
    }

    static bool put(Slot& slot, int handle, Object* object) {
        int free = 0;
        if (!slot.handle.compare_exchange_strong(free, kBusy)) return false;
        slot.object.store(object);
        slot.handle.store(handle);
        return true;
    }

    /** Frees the slot of a live handle; false when the slot no longer belongs to it. */
    static bool clear(Slot& slot, int handle) {
        if (!slot.handle.compare_exchange_strong(handle, kBusy)) return false;
        slot.object.store(nullptr);
        slot.handle.store(0);
        return true;
    }

    int next() {
        for (;;) {
            const int handle = static_cast<int>(count_.fetch_add(1) & INT_MAX);
            if (handle != 0) return handle;
        }
    }

    Slot* levelAt(int level, bool make) noexcept {
        if (level == 0) return first_;
        Atomic<Slot*>& place = grown_[level - 1];
        Slot* slots = place.load();
        if (slots || !make) return slots;
        Slot* made = new (std::nothrow) Slot[kFirstSlots << level];
        if (!made) return nullptr;
        if (place.compare_exchange_strong(slots, made)) return made;
        delete[] made;
        return slots;
    }

    /** The slot of a live handle and the object in it; null when the handle is not live. */
    Slot* slotOf(int handle, Object*& object) noexcept {
        if (handle <= 0) return nullptr;
        for (int level = 0; level < kLevels; ++level) {
            Slot* slots = levelAt(level, false);
            if (!slots) return nullptr;
            Slot& slot = slots[index(handle, level)];
            if (slot.handle.load() != handle) continue;
            object = slot.object.load();
            // The object is the handle's only if the slot has not been reused meanwhile.
            if (slot.handle.load() == handle) return &slot;
            break;
        }
        object = nullptr;
        return nullptr;
    }

    // Far above the small numbers that may be passed as handles by mistake.
    Atomic<unsigned> count_{0x10000000};
    Slot first_[kFirstSlots];
    Atomic<Slot*> grown_[kLevels - 1]{};
};

}  // namespace vornisa

#endif
