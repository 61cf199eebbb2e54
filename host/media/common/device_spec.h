#ifndef KEP_HOST_DEVICE_SPEC_H
#define KEP_HOST_DEVICE_SPEC_H

#include <initializer_list>
#include <optional>
#include <string>

namespace kep::host {

/** The device that an environment variable chooses: `kind` or `kind:argument`. */
struct DeviceSpec {
    std::string kind;
    std::string argument;
    std::string text; /**< the whole value, for messages */
};

/** A kind of device, and whether it needs an argument. */
struct DeviceKind {
    const char* name;
    bool takesArgument;
};

/**
 * Reads the choice of a device from the environment, at each call.
 *
 * @param variable name of the environment variable
 * @param fallback the choice when the variable is unset or empty
 * @param kinds    the known kinds
 * @return the choice; nullopt, with an error line that names variable and value, for an unknown kind
 */
std::optional<DeviceSpec> deviceFromEnvironment(const char* variable, const char* fallback,
                                                std::initializer_list<DeviceKind> kinds);

}  // namespace kep::host

#endif
