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

/** What commands that print the results of a detector have in common. */
struct DetectionSettings {
    int count = std::numeric_limits<int>::max(); /**< results after which the command ends */
    std::optional<double> seconds;               /**< after which it ends as well */
    bool isJson = false;
};

/** --count, --seconds and --json; `settings` outlives them. */
std::vector<Option> detectionOptions(DetectionSettings& settings, const char* countHelp,
                                     const char* jsonHelp);

/** A result as it is printed. */
struct Detection {
    std::string line;
    bool isFound; /**< whether it is one of --count */
};

/**
 * Prints the detector's messages of a name until the settings, a stop or a closed pipe ends it.
 *
 * @return false when nothing was found although nobody has asked for a stop
 */
bool printDetections(Inbox& inbox, const DetectionSettings& settings, const std::string& name,
                     const std::function<Detection(const std::string& message)>& describe);

}  // namespace vncam

#endif
