#ifndef KEP_RESERVE_H
#define KEP_RESERVE_H

#include <cstddef>

namespace kep {

// Objects in memory that the plug-in provides get these bytes in addition to what is declared, as the
// firmware's classes may be larger. Too many only cost stack or heap; with too few the firmware writes beyond
// the end of the object.

constexpr std::size_t kAttrSetReserve = 256;      /**< on the stack, up to four at a time */
constexpr std::size_t kOstreamStringReserve = 64; /**< on the stack, one at a time */
constexpr std::size_t kSharedMemoryReserve =
    256;                                        /**< on the stack, twice: in the class and behind its base */
constexpr std::size_t kFifoBufferReserve = 512; /**< on the heap, one for each source of samples */

}  // namespace kep

#endif
