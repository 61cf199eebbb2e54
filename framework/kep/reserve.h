#ifndef KEP_RESERVE_H
#define KEP_RESERVE_H

#include <cstddef>

namespace kep {

// Objects whose memory the plug-in provides have these bytes beyond what is declared of them, as the
// firmware's classes may be larger. More costs stack or heap; too few, and the firmware writes into what lies
// behind the object.

constexpr std::size_t kAttrSetReserve = 256;      /**< on the stack, up to four at a time */
constexpr std::size_t kOstreamStringReserve = 64; /**< on the stack, one at a time */
constexpr std::size_t kSharedMemoryReserve =
    256;                                        /**< on the stack, twice: in the class and behind its base */
constexpr std::size_t kFifoBufferReserve = 512; /**< on the heap, one for each source of samples */

}  // namespace kep

#endif
