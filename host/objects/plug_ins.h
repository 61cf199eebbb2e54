#ifndef KEP_HOST_PLUG_INS_H
#define KEP_HOST_PLUG_INS_H

#include <string>
#include <vector>

#include "kep/visibility.h"

namespace kep::host {

/** A registered plug-in. */
struct PlugIn {
    std::string name;
    std::string version;
    int priority = 0;
    int index = 0;   /**< returned by its registration, from 1 */
    int entered = 0; /**< number of registrations; more than one when it was loaded again */
};

/** The plug-ins, the lowest priority number first, equal numbers in registration order. */
KEP_API std::vector<PlugIn> plugIns();

}  // namespace kep::host

#endif
