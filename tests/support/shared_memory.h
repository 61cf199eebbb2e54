#ifndef VORNISA_TESTS_SHARED_MEMORY_H
#define VORNISA_TESTS_SHARED_MEMORY_H

#include <array>
#include <cstddef>

namespace scripted {

constexpr std::size_t kRecordSize = 396;
constexpr std::size_t kSlots = 3;

/** The memory of every attached segment, whatever its name, with guard areas on both sides. */
struct Memory {
    std::array<unsigned char, kRecordSize> before;
    std::array<unsigned char, kRecordSize * kSlots> segment;
    std::array<unsigned char, kRecordSize> behind;
};

/** The singleton. */
Memory& memory();

/** Sets the slot that is current when a segment is attached. */
void setSlot(int slot);

}  // namespace scripted

#endif
