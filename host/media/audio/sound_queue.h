#ifndef KEP_HOST_SOUND_QUEUE_H
#define KEP_HOST_SOUND_QUEUE_H

#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <vector>

namespace kep::host {

/** A bounded queue of bytes whose writers wait while it is full and whose reader takes whole samples only. */
class SoundQueue {
  public:
    /** Empties the queue and lets bytes through. */
    void open(std::size_t capacity, std::size_t frameBytes);
    /** Takes no more; the reader still gets what is queued. */
    void finish();
    /** Takes no more and drops what is queued. */
    void close();

    /** Copies all bytes in, waiting for room. False when the queue was not open all the while. */
    bool push(const unsigned char* data, std::size_t size);
    /** Waits for bytes and takes at most `size` of them, a whole number of samples; 0 when no more will come.
     */
    std::size_t pull(void* data, std::size_t size);

  private:
    void copyIn(const unsigned char* data, std::size_t size);
    void copyOut(unsigned char* data, std::size_t size);

    std::mutex writer_;  // keeps the bytes of one push together
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<unsigned char> ring_;
    std::size_t frameBytes_ = 1;
    std::size_t first_ = 0;
    std::size_t held_ = 0;
    bool open_ = false;
};

}  // namespace kep::host

#endif
