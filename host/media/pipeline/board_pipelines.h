#ifndef KEP_HOST_BOARD_PIPELINES_H
#define KEP_HOST_BOARD_PIPELINES_H

#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "core/object_impl.h"
#include "media/pipeline/outlet.h"

namespace kep::host {

/**
 * The pipelines that a board has by itself: `plAacSource`, and `plPreRecordAac` and `plPreRecordH264`, which
 * keep a past. Those capture and encode from the first object of the process to its end, as an event may come
 * that needs what was before it, and as soon as their devices are there; `plAacSource`, and with
 * KEP_HOST_PRERECORD=attached all of them, while somebody is attached.
 */
class BoardPipelines {
  public:
    static BoardPipelines& instance();

    /** To be called whenever an object is made; the first time starts what KEP_HOST_PRERECORD says. */
    static void firstUse();

  private:
    BoardPipelines();
    void stopHolding();
    std::shared_ptr<Outlet> make(const char* text);
    /** Holds the outlets; what cannot run yet, as its device is missing, is tried again until it does. */
    void keepRunning(std::vector<std::shared_ptr<Outlet>> outlets);

    std::vector<std::unique_ptr<ObjectImpl>> pipelines_;
    std::mutex mutex_;
    std::condition_variable changed_;
    bool ending_ = false;
    std::thread holding_;
};

}  // namespace kep::host

#endif
