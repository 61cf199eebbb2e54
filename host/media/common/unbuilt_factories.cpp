#include "core/log.h"
#include "kep/device.h"

// What the framework's interface has and this framework does not: refused with a line that says so.

namespace kep::dev {

IMicrophone* IMicrophone::Microphone(const char*) {
    KEP_HOST_ERROR("IMicrophone is not built into this framework");
    return nullptr;
}

ISpeaker* ISpeaker::Speaker(const char*) {
    KEP_HOST_ERROR("ISpeaker is not built into this framework");
    return nullptr;
}

}  // namespace kep::dev
