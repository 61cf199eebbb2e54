#include "media/common/device_spec.h"

#include <cstdlib>

#include "objects/log.h"

namespace kep::host {

std::optional<DeviceSpec> deviceFromEnvironment(const char* variable, const char* fallback,
                                                std::initializer_list<DeviceKind> kinds) {
    const char* set = std::getenv(variable);
    DeviceSpec spec;
    spec.text = set && *set ? set : fallback;
    const std::size_t colon = spec.text.find(':');
    spec.kind = spec.text.substr(0, colon);
    if (colon != std::string::npos) spec.argument = spec.text.substr(colon + 1);

    std::string known;
    for (const DeviceKind& kind : kinds) {
        if (spec.kind == kind.name && kind.takesArgument == !spec.argument.empty()) return spec;
        known += (known.empty() ? "" : ", ") + std::string(kind.name) + (kind.takesArgument ? ":..." : "");
    }
    KEP_HOST_ERROR(std::string(variable) + "=" + spec.text + ": not one of " + known);
    return std::nullopt;
}

}  // namespace kep::host
