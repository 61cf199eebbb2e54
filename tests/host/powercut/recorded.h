#ifndef VORNISA_RECORDED_H
#define VORNISA_RECORDED_H

#include <map>
#include <string>
#include <vector>

#include "step_log.h"

namespace kep::host {

/** A recording, and all its requests to the disk. */
struct Recorded {
    /** A report that the file of this name is complete. */
    struct Told {
        std::string path;
        std::size_t steps; /**< number of steps done by then */
    };

    std::vector<Step> steps;
    std::vector<Told> told;
    /**
     * Seconds from the very first picture to the first one of each file, by final names; only files with
     * power-fail protection.
     */
    std::map<std::string, double> begins;
};

/** Makes a file layer the current one during its lifetime. */
class InUse {
  public:
    explicit InUse(FileLayer& layer) { FileLayer::use(&layer); }
    ~InUse() { FileLayer::use(nullptr); }
    InUse(const InUse&) = delete;
    InUse& operator=(const InUse&) = delete;
};

}  // namespace kep::host

#endif
