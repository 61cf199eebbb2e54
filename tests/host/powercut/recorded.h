#ifndef VORNISA_RECORDED_H
#define VORNISA_RECORDED_H

#include <map>
#include <string>
#include <vector>

#include "step_log.h"

namespace kep::host {

/** What was recorded, and all that it asked of the disk. */
struct Recorded {
    /** A promise that was given: under this name there is a whole file. */
    struct Told {
        std::string path;
        std::size_t steps; /**< how many had been done by then */
    };

    std::vector<Step> steps;
    std::vector<Told> told;
    /** Seconds from the first picture of all to that of each file, by final names; of what is recorded with
     * protection against a loss of power. */
    std::map<std::string, double> begins;
};

/** Puts a file layer in use while it lives. */
class InUse {
  public:
    explicit InUse(FileLayer& layer) { FileLayer::use(&layer); }
    ~InUse() { FileLayer::use(nullptr); }
    InUse(const InUse&) = delete;
    InUse& operator=(const InUse&) = delete;
};

}  // namespace kep::host

#endif
