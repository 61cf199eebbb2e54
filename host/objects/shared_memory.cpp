#include "kep/shared_memory.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "objects/log.h"
#include "objects/shared_record.h"

namespace kep::stream {
namespace {

std::string reasonOf(int error) {
    return std::string(": ") + std::strerror(error);
}

}  // namespace

struct ISharedMemory::Segment {
    explicit Segment(int bytes) : size(static_cast<std::size_t>(bytes)) {}
    ~Segment() { detach(); }

    bool attach(const std::string& name) {
        const int file = shm_open(host::segmentPath(name).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0660);
        if (file < 0) {
            KEP_HOST_ERROR("shared memory " + name + reasonOf(errno));
            return false;
        }
        const bool mapped = map(file, name);
        close(file);
        return mapped;
    }

    bool map(int file, const std::string& name) {
        // A new segment is empty and zeroed when resized; an existing one is never truncated or cleared. All
        // its pages are allocated now: if memory is full, the first write to a hole would end the process.
        const int error = posix_fallocate(file, 0, static_cast<off_t>(size));
        void* const memory =
            error == 0 ? mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0) : MAP_FAILED;
        if (memory == MAP_FAILED) {
            KEP_HOST_ERROR("shared memory " + name + " of " + std::to_string(size) + " bytes" +
                           reasonOf(error == 0 ? errno : error));
            return false;
        }
        detach();
        address = memory;
        return true;
    }

    void detach() {
        if (address) munmap(address, size);
        address = nullptr;
    }

    const std::size_t size;
    void* address = nullptr;
};

ISharedMemory::ISharedMemory(int size) : segment_(new Segment(size)) {}

ISharedMemory::~ISharedMemory() {
    delete segment_;
}

bool ISharedMemory::ShmName(const char* name) {
    if (!name || !*name || std::strchr(name, '/')) {
        KEP_HOST_ERROR(std::string("shared memory: invalid segment name \"") + (name ? name : "") + "\"");
        return false;
    }
    return segment_->attach(name);
}

void* ISharedMemory::Address() const {
    return segment_->address;
}

int ISharedMemory::Slot() const {
    return 0;
}

}  // namespace kep::stream
