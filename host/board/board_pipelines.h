#ifndef KEP_HOST_BOARD_PIPELINES_H
#define KEP_HOST_BOARD_PIPELINES_H

#include <memory>
#include <thread>
#include <vector>

#include "media/pipeline/outlet.h"
#include "objects/mutex.h"
#include "objects/object_impl.h"

namespace kep::host {

/**
 * The named pipelines of a board: `plAacSource`, and `plPreRecordAac` and `plPreRecordH264`, which keep a
 * past. These two capture and encode from the first object that films or records until the process ends, so
 * that every later event has its past; a device that is missing is retried. `plAacSource`, and all three with
 * KEP_HOST_PRERECORD=attached, run while an application is attached.
 */
class BoardPipelines {
  public:
    /** Makes the pipelines and starts pre-recording; nothing from the second call on. Waits while another
     * thread makes them. */
    static void begin();

  private:
    BoardPipelines();
    std::shared_ptr<Outlet> make(const char* text);
    void startHolding(std::vector<std::shared_ptr<Outlet>> outlets);
    void stopHolding();
    /** Holds the outlets; retries those whose device is missing until all are held or the process ends. */
    void hold(std::vector<std::shared_ptr<Outlet>> outlets);

    std::vector<std::unique_ptr<ObjectImpl>> pipelines_;
    Mutex mutex_;
    Condition changed_;
    bool ending_ GUARDED_BY(mutex_) = false;
    std::thread holding_;
};

}  // namespace kep::host

#endif
