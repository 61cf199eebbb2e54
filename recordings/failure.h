#ifndef RECORDINGS_FAILURE_H
#define RECORDINGS_FAILURE_H

#include <stdexcept>

namespace recordings {

/** A file or folder cannot be read or changed; the text contains its path and the system's reason. */
struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

}  // namespace recordings

#endif
