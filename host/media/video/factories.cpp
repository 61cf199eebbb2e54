#include "core/log.h"
#include "media/pipeline/board_pipelines.h"
#include "media/video/h264_source.h"
#include "media/video/photography.h"
#include "media/video/yuv_source.h"

namespace kep::api::streaming {

namespace {

/** A new source; null, with a line, when the device is not the camera's own. */
template <class Source>
Source* newSource(const char* what, const char* device) {
    host::BoardPipelines::firstUse();
    if (device && std::string_view(device) == "vornisa") return new Source;
    KEP_HOST_ERROR(std::string(what) + ": no device " + (device ? device : "without a name"));
    return nullptr;
}

}  // namespace

IYuvSource* IYuvSource::CreateNew(const char* device) {
    return newSource<host::YuvSource>("IYuvSource", device);
}

IH264Source* IH264Source::CreateNew(const char* device) {
    return newSource<host::H264Source>("IH264Source", device);
}

IPhotography* IPhotography::CreateNew(const char* device) {
    return newSource<host::Photography>("IPhotography", device);
}

}  // namespace kep::api::streaming
