#include "objects/shared_record.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "objects/log.h"

namespace kep::host {

std::string segmentPath(const std::string& name) {
    const char* const prefix = std::getenv("KEP_HOST_SHM");
    return "/" + std::string(prefix ? prefix : "") + name;
}

SharedRecordReader::SharedRecordReader(const std::string& name, std::size_t bytes)
    : name_(name), path_(segmentPath(name)), bytes_(bytes) {}

bool SharedRecordReader::read(void* record) {
    const int file = shm_open(path_.c_str(), O_RDONLY | O_CLOEXEC, 0);
    if (file < 0) {
        tell(errno == ENOENT ? "" : std::strerror(errno));
        return false;
    }
    const ssize_t count = pread(file, record, bytes_, 0);
    const int error = errno;
    close(file);
    if (count == static_cast<ssize_t>(bytes_)) {
        tell("");
        return true;
    }
    // A segment that has just been created is still empty.
    if (count < 0)
        tell(std::strerror(error));
    else if (count > 0)
        tell("too short: " + std::to_string(count) + " bytes, " + std::to_string(bytes_) + " needed");
    return false;
}

void SharedRecordReader::tell(const std::string& reason) {
    if (reason == told_) return;
    told_ = reason;
    if (!reason.empty()) KEP_HOST_ERROR("shared memory " + name_ + ": " + reason);
}

}  // namespace kep::host
