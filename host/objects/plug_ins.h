#ifndef KEP_HOST_PLUG_INS_H
#define KEP_HOST_PLUG_INS_H

#include <string>
#include <vector>

#include "kep/visibility.h"

namespace kep::host {

/** A plug-in as it entered itself. */
struct PlugIn {
    std::string name;
    std::string version;
    int priority = 0;
    int index = 0;   /**< what its registration was given, from 1 */
    int entered = 0; /**< how often it has entered itself; more than once when it was loaded again */
};

/** The plug-ins known, the lowest priority number first, those of one number in the order of their coming. */
KEP_API std::vector<PlugIn> plugIns();

}  // namespace kep::host

#endif
