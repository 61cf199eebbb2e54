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
 * The named pipelines of a board: `plAacSource`, and `plPreRecordAac` and `plPreRecordH264`, which buffer
 * pre-event media. These two capture and encode from the creation of the first capturing object until the
 * process ends, so that every later event has its pre-event media; a missing device is retried.
 * `plAacSource`, and all three with KEP_HOST_PRERECORD=attached, run only while an application is attached.
 */
class BoardPipelines {
  public:
    /** Creates the pipelines and starts pre-recording; later calls do nothing. Blocks while another thread
     * creates them. */
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
