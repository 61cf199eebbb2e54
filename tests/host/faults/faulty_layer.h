#ifndef VORNISA_FAULTY_LAYER_H
#define VORNISA_FAULTY_LAYER_H

#include <cerrno>
#include <condition_variable>
#include <mutex>

#include "watched_disk.h"

namespace kep::host {

/** The operating system's file layer with stalls and failures on demand. Active during its lifetime. */
class FaultyLayer final : public WatchedDisk {
  public:
    FaultyLayer() { use(this); }
    ~FaultyLayer() override;

    /** While stalled, every access to the disk blocks. */
    void stall(bool stalls);
    /** Whether a thread is blocked on the stalled disk. */
    bool isWaitedFor();

    /** Makes writing, or creating files, fail with errno `error`; 0 ends the failures. */
    void failWrites(int error);
    void failCreations(int error);

  private:
    /** Blocks while the disk stalls. */
    bool pass(Step step, const std::string& path, std::string& reason) override;

    std::mutex mutex_;
    std::condition_variable resumed_;
    bool stalls_ = false;
    int waiting_ = 0;
    int writeError_ = 0;
    int creationError_ = 0;
};

}  // namespace kep::host

#endif
