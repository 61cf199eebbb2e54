#include "media/audio/sound_queue.h"

#include <algorithm>

namespace kep::host {

void SoundQueue::open(std::size_t capacity, std::size_t frameBytes) {
    const std::lock_guard lock(mutex_);
    ring_.resize(capacity);
    frameBytes_ = frameBytes;
    first_ = 0;
    held_ = 0;
    open_ = true;
}

void SoundQueue::finish() {
    {
        const std::lock_guard lock(mutex_);
        open_ = false;
    }
    changed_.notify_all();
}

void SoundQueue::close() {
    {
        const std::lock_guard lock(mutex_);
        open_ = false;
        held_ = 0;
    }
    changed_.notify_all();
}

bool SoundQueue::push(const unsigned char* data, std::size_t size) {
    const std::lock_guard writer(writer_);
    std::unique_lock lock(mutex_);
    while (open_ && size > 0) {
        changed_.wait(lock, [this] { return !open_ || held_ < ring_.size(); });
        if (!open_) return false;
        const std::size_t part = std::min(size, ring_.size() - held_);
        copyIn(data, part);
        data += part;
        size -= part;
        changed_.notify_all();
    }
    return open_;
}

std::size_t SoundQueue::pull(void* data, std::size_t size) {
    std::size_t part = 0;
    {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return !open_ || held_ >= frameBytes_; });
        part = std::min(size, held_);
        part -= part % frameBytes_;
        copyOut(static_cast<unsigned char*>(data), part);
    }
    changed_.notify_all();
    return part;
}

void SoundQueue::copyIn(const unsigned char* data, std::size_t size) {
    const std::size_t end = (first_ + held_) % ring_.size();
    const std::size_t straight = std::min(size, ring_.size() - end);
    std::copy_n(data, straight, ring_.data() + end);
    std::copy_n(data + straight, size - straight, ring_.data());
    held_ += size;
}

void SoundQueue::copyOut(unsigned char* data, std::size_t size) {
    const std::size_t straight = std::min(size, ring_.size() - first_);
    std::copy_n(ring_.data() + first_, straight, data);
    std::copy_n(ring_.data(), size - straight, data + straight);
    first_ = (first_ + size) % ring_.size();
    held_ -= size;
}

}  // namespace kep::host
