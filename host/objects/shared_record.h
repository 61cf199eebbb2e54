#ifndef KEP_HOST_SHARED_RECORD_H
#define KEP_HOST_SHARED_RECORD_H

#include <cstddef>
#include <string>

#include "kep/visibility.h"

namespace kep::host {

/**
 * The name of a segment for shm_open(), prefixed with KEP_HOST_SHM, so that programs that must not share a
 * camera's settings, such as tests, have their own segments.
 */
std::string segmentPath(const std::string& name);

/**
 * Reads the record at the start of a named segment, which any process may create, write or remove at any
 * time. The segment is read like a file, not mapped: if it is truncated meanwhile, the read is short and
 * harmless.
 */
class KEP_API SharedRecordReader {
  public:
    /** @param bytes size of the record */
    SharedRecordReader(const std::string& name, std::size_t bytes);

    /**
     * Copies the record. False if there is none or it cannot be read; an error line is written when the
     * reason changes, not on every call.
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
