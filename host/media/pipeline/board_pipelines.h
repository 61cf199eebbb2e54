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
 * keep a past. Each captures and encodes while somebody is attached; with KEP_HOST_PRERECORD=always those
 * with a past do so from the first use of the framework to the end of the process.
 */
class BoardPipelines {
  public:
    static BoardPipelines& instance();

    /** To be called by whatever uses the framework's media first: starts what KEP_HOST_PRERECORD says. */
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
