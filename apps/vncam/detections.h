#ifndef VNCAM_DETECTIONS_H
#define VNCAM_DETECTIONS_H

#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "message.h"
#include "options.h"

namespace vncam {

/** Common settings of the commands that print the results of a detector. */
struct DetectionSettings {
    int count = std::numeric_limits<int>::max(); /**< results after which the command ends */
    std::optional<double> seconds;               /**< after which the command ends */
    bool isJson = false;
};

/** --count, --seconds and --json; `settings` must outlive them. */
std::vector<Option> detectionOptions(DetectionSettings& settings, const char* countHelp,
                                     const char* jsonHelp);

/** A result as it is printed. */
struct Detection {
    std::string line;
    bool isFound; /**< counts towards --count */
};

/**
 * Prints the detector's messages called `name` until a limit of `settings`, a stop request or a closed pipe.
 *
 * @return false when nothing was found and no stop was requested
 */
bool printDetections(Inbox& inbox, const DetectionSettings& settings, const std::string& name,
                     const std::function<Detection(const std::string& message)>& describe);

}  // namespace vncam

#endif
