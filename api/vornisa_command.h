#ifndef VORNISA_COMMAND_H
#define VORNISA_COMMAND_H

#include "kep/reflect.h"
#include "vornisa_check.h"

namespace vornisa {

/**
 * Sends a command to the camera's image pipeline. Returns VNRES_FAIL when the command cannot be delivered,
 * with an error line that names `caller`, and when the pipeline refuses it, without a line.
 */
template <class Log>
int sendCommand(int line, const char* caller, kep::base::AttrSet& ap) {
    if (!kep::base::Factory::Globle().Run("shm0_cmd", ap))
        return Log::refuse(line, caller, "!Factory::Globle().Run(\"shm0_cmd\",ap)", VNRES_FAIL);
    // The pipeline's answer is inverted: "ret" is true when it refuses.
    return ap.GetOrDef("ret", false) ? VNRES_FAIL : VNRES_SUCCEED;
}

}  // namespace vornisa

#endif
