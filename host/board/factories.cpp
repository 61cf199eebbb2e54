#include <memory>
#include <string>
#include <string_view>

#include "board/board_pipelines.h"
#include "kep/device.h"
#include "kep/streaming.h"
#include "media/faces/streams.h"
#include "objects/log.h"

namespace kep::host {
namespace {

constexpr std::string_view kDevice = "vornisa";

/** Whether `device` is the board's own; an error line when not. */
bool isDevice(const char* device, const char* interface) {
    if (device && device == kDevice) return true;
    KEP_HOST_ERROR(std::string(interface) + ": no device \"" + (device ? device : "") + "\", only \"" +
                   std::string(kDevice) + "\"");
    return false;
}

/** Creates a capturing stream; starts the board's pipelines first. */
template <class Make>
auto makeSource(const char* device, const char* interface, Make make) -> decltype(make().release()) {
    if (!isDevice(device, interface)) return nullptr;
    BoardPipelines::begin();
    return make().release();
}

}  // namespace
}  // namespace kep::host

namespace kep::api::streaming {

IYuvSource* IYuvSource::CreateNew(const char* device) {
    return host::makeSource(device, "IYuvSource", host::makeYuvSource);
}

IH264Source* IH264Source::CreateNew(const char* device) {
    return host::makeSource(device, "IH264Source", host::makeH264Source);
}

IPhotography* IPhotography::CreateNew(const char* device) {
    return host::makeSource(device, "IPhotography", host::makePhotography);
}

IPcmSource* IPcmSource::CreateNew(const char* device) {
    return host::makeSource(device, "IPcmSource", host::makePcmSource);
}

IAacSource* IAacSource::CreateNew(const char* device) {
    return host::makeSource(device, "IAacSource", host::makeAacSource);
}

IPcmPlayer* IPcmPlayer::CreateNew(const char* device) {
    return host::isDevice(device, "IPcmPlayer") ? host::makePcmPlayer().release() : nullptr;
}

}  // namespace kep::api::streaming

namespace kep::dev {

IMicrophone* IMicrophone::Microphone(const char* device) {
    return host::isDevice(device, "IMicrophone") ? &host::microphone() : nullptr;
}

ISpeaker* ISpeaker::Speaker(const char* device) {
    return host::isDevice(device, "ISpeaker") ? &host::speaker() : nullptr;
}

}  // namespace kep::dev
