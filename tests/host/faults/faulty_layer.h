#ifndef VORNISA_FAULTY_LAYER_H
#define VORNISA_FAULTY_LAYER_H

#include <cerrno>
#include <condition_variable>
#include <mutex>

#include "watched_disk.h"

namespace kep::host {

/** The operating system's file layer, but it stalls and fails as a test says. It is in use while it lives. */
class FaultyLayer final : public WatchedDisk {
  public:
    FaultyLayer() { use(this); }
    ~FaultyLayer() override;

    /** While it stalls, everything waits that goes to the disk. */
    void stall(bool stalls);
    /** Whether somebody waits for the disk. */
    bool isWaitedFor();

    /** Has what writes bytes or makes files fail with an error number; 0 for no more. */
    void failWrites(int error);
    void failCreations(int error);

  private:
    /** Waits while the disk stalls. */
    bool pass(Step step, const std::string& path, std::string& reason) override;

    std::mutex mutex_;
    std::condition_variable goesOn_;
    bool stalls_ = false;
    int waiting_ = 0;
    int writeError_ = 0;
    int creationError_ = 0;
};

}  // namespace kep::host

#endif
