#ifndef KEP_HOST_SHARED_RECORD_H
#define KEP_HOST_SHARED_RECORD_H

#include <cstddef>
#include <string>

#include "kep/visibility.h"

namespace kep::host {

/**
 * The name of a segment for the system. KEP_HOST_SHM is put before it, so that programs that are not to share
 * a camera's settings, tests for example, have segments of their own.
 */
std::string segmentPath(const std::string& name);

/**
 * The record at the start of a named segment that any process may write, make or remove at any time. It is
 * read as a file is and not mapped: a segment that is cut short while it is read then does no harm.
 */
class KEP_API SharedRecordReader {
  public:
    /** @param bytes of the record */
    SharedRecordReader(const std::string& name, std::size_t bytes);

    /**
     * Copies the record out. False when there is none; that it cannot be read is told in one line, and again
     * after it could be.
     */
    bool read(void* record);

  private:
    void tell(const std::string& reason);

    const std::string name_;
    const std::string path_;
    const std::size_t bytes_;
    std::string told_;
};

}  // namespace kep::host

#endif
