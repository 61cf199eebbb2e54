#ifndef KEP_HOST_BOARD_PIPELINES_H
#define KEP_HOST_BOARD_PIPELINES_H

#include <memory>
#include <thread>
#include <vector>

#include "core/object_impl.h"
#include "media/pipeline/outlet.h"

namespace kep::host {

/**
 * The pipelines that a board has by itself: `plAacSource`, and `plPreRecordAac` and `plPreRecordH264`, which
 * keep a past. Those capture and encode from the first object of the process to its end, as an event may come
 * that needs what was before it; `plAacSource`, and with KEP_HOST_PRERECORD=attached all of them, while
 * somebody is attached.
 */
class BoardPipelines {
  public:
    static BoardPipelines& instance();

    /** To be called whenever an object is made; the first time starts what KEP_HOST_PRERECORD says. */
    static void firstUse();

    ~BoardPipelines();

  private:
    BoardPipelines();
    std::shared_ptr<Outlet> make(const char* text);
    void keepRunning(std::vector<std::shared_ptr<Outlet>> outlets);

    std::vector<std::unique_ptr<ObjectImpl>> pipelines_;
    std::thread starting_;
};

}  // namespace kep::host

#endif
