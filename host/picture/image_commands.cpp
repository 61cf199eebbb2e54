// The receiver of "shm0_cmd", with which applications set the flips and the anti-flicker of the camera.
#include <functional>
#include <string>

#include "kep/shared_memory.h"
#include "objects/commands.h"
#include "objects/log.h"
#include "picture/image_record.h"
#include "text/convert.h"

namespace kep::host {
namespace {

using base::AttrSet;

constexpr const char* kCommand = "shm0_cmd";

/** Reads a required boolean argument. */
bool take(const AttrSet& arguments, const char* key, std::uint8_t& value, std::string& reason) {
    const char* const text = arguments.Get(key);
    bool truth = false;
    if (!text || !convert(text, truth)) {
        reason = std::string(key) + "=" + (text ? text : "") + " is neither true nor false";
        return false;
    }
    value = truth;
    return true;
}

/** False, with `reason` filled, when the command is refused. */
bool change(const AttrSet& arguments, ImageRecord& image, std::string& reason) {
    const std::string command = arguments.GetOrDef("cmd", "");
    if (command == "cdspUpdate") {
        // All consumers share one picture.
        if (arguments.GetOrDef("yuvid", -1) != -1) {
            reason = "yuvid=" + std::string(arguments.Get("yuvid")) + " is not -1, which means all outputs";
            return false;
        }
        return take(arguments, "vflip", image.vflip, reason);
    }
    if (command == "hflipUpdate") return take(arguments, "hflip", image.hflip, reason);
    if (command == "mdflipUpdate") {
        // Detectors get the picture after the flips: they have no flips of their own.
        ImageRecord unused{};
        return take(arguments, "hflip", unused.hflip, reason) &&
               take(arguments, "vflip", unused.vflip, reason);
    }
    if (command == "aeflick") return take(arguments, "aeflick", image.antiFlicker, reason);
    reason = "cmd=" + command + " is unknown";
    return false;
}

/** Runs a command; "ret" is true in the reply if it is refused. */
bool receive(AttrSet& arguments) {
    std::string reason;
    stream::TSharedMemory<ImageRecord> memory(1);
    const bool done = memory.ShmName(kImageSegment) && change(arguments, *memory.Record(), reason);
    if (!reason.empty()) KEP_HOST_ERROR(std::string("command ") + kCommand + ": " + reason);
    arguments.Add("ret", !done);
    return true;
}

const CommandRegistration imageCommands(kCommand, receive);

}  // namespace
}  // namespace kep::host
