#include "core/log.h"
#include "kep/streaming.h"

namespace kep::api::streaming {

IPhotography* IPhotography::CreateNew(const char*) {
    KEP_HOST_ERROR("IPhotography is not built into this framework");
    return nullptr;
}

}  // namespace kep::api::streaming
