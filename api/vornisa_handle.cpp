#include "vornisa_handle.h"

#if UINTPTR_MAX > UINT_MAX

#include <atomic>
#include <cstddef>
#include <new>

namespace vornisa {
namespace {

struct Slot {
    std::atomic<int> handle{0};
    std::atomic<kep::object_base*> object{nullptr};
};

/** In a slot whose object is being put in or taken out. No handle is negative. */
constexpr int kBusy = -1;

// More than sixty thousand places, in 1 MiB once all are needed.
constexpr unsigned kFirstSlots = 256;
constexpr int kLevels = 8;

/** How many handles in a row may find their slots taken before the table grows. */
constexpr int kTries = 8;

/**
 * The live objects. Handles are numbers counted up, so that a released one finds nothing for as long as the
 * count has not come round. A handle has one slot in each level, chosen by its low bits; a level has twice
 * the slots of the one before it and is added when it is first needed, so that no slot ever moves.
 */
class Table {
  public:
    constexpr Table() = default;
    Table(const Table&) = delete;
    Table& operator=(const Table&) = delete;

    // The first level stays usable, for what still calls while the process ends.
    ~Table() {
        for (auto& level : grown_) delete[] level.exchange(nullptr);
    }

    int add(kep::object_base* object) noexcept {
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

    kep::object_base* find(int handle) noexcept {
        kep::object_base* object = nullptr;
        slotOf(handle, object);
        return object;
    }

    kep::object_base* take(int handle) noexcept {
        kep::object_base* object = nullptr;
        Slot* slot = slotOf(handle, object);
        return slot && clear(*slot, handle) ? object : nullptr;
    }

    void takeAll(const kep::object_base* object) noexcept {
        for (int level = 0; level < kLevels; ++level) {
            Slot* slots = levelAt(level, false);
            if (!slots) return;
            for (Slot* slot = slots; slot != slots + (kFirstSlots << level); ++slot)
                if (slot->object.load(std::memory_order_relaxed) == object) clear(*slot, slot->handle.load());
        }
    }

  private:
    static std::size_t index(int handle, int level) {
        return static_cast<unsigned>(handle) & ((kFirstSlots << level) - 1);
    }

    static bool put(Slot& slot, int handle, kep::object_base* object) {
        int free = 0;
        if (!slot.handle.compare_exchange_strong(free, kBusy)) return false;
        slot.object.store(object);
        slot.handle.store(handle);
        return true;
    }

    /** Makes the slot of a live handle free; false when it was no longer that handle's. */
    static bool clear(Slot& slot, int handle) {
        if (handle <= 0 || !slot.handle.compare_exchange_strong(handle, kBusy)) return false;
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
        std::atomic<Slot*>& place = grown_[level - 1];
        Slot* slots = place.load();
        if (slots || !make) return slots;
        Slot* made = new (std::nothrow) Slot[kFirstSlots << level];
        if (!made) return nullptr;
        if (place.compare_exchange_strong(slots, made)) return made;
        delete[] made;
        return slots;
    }

    /** The slot of a live handle and the object in it; null when the handle is not live. */
    Slot* slotOf(int handle, kep::object_base*& object) noexcept {
        if (handle <= 0) return nullptr;
        for (int level = 0; level < kLevels; ++level) {
            Slot* slots = levelAt(level, false);
            if (!slots) return nullptr;
            Slot& slot = slots[index(handle, level)];
            if (slot.handle.load() != handle) continue;
            object = slot.object.load();
            // What was read belongs to the handle only if the slot has not changed hands meanwhile.
            if (slot.handle.load() == handle) return &slot;
            break;
        }
        object = nullptr;
        return nullptr;
    }

    // Far from the small numbers that may be taken for handles by mistake.
    std::atomic<unsigned> count_{0x10000000};
    Slot first_[kFirstSlots];
    std::atomic<Slot*> grown_[kLevels - 1]{};
};

Table table;

}  // namespace

int newHandle(kep::object_base* object) noexcept {
    return table.add(object);
}

kep::object_base* objectOf(int handle) noexcept {
    return table.find(handle);
}

kep::object_base* endHandle(int handle) noexcept {
    return table.take(handle);
}

void endHandlesOf(const kep::object_base* object) noexcept {
    table.takeAll(object);
}

}  // namespace vornisa

#endif
