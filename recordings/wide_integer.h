#ifndef RECORDINGS_WIDE_INTEGER_H
#define RECORDINGS_WIDE_INTEGER_H

namespace recordings {

/** Holds the product of any two times and time scales. */
__extension__ typedef __int128 WideInteger;

}  // namespace recordings

#endif
