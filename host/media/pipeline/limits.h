#ifndef KEP_HOST_LIMITS_H
#define KEP_HOST_LIMITS_H

#include <atomic>
#include <string>

#include "objects/log.h"
#include "objects/object_impl.h"

namespace kep::host {

/** Whether a value is from `low` to `high`; a line says so of another. */
inline bool isWithin(const ObjectImpl& owner, const char* name, int value, int low, int high) {
    if (value >= low && value <= high) return true;
    KEP_HOST_ERROR(owner.label() + ": " + name + "=" + std::to_string(value) + " is not from " +
                   std::to_string(low) + " to " + std::to_string(high));
    return false;
}

/** Adds a property of whole numbers from `low` to `high`; others are refused with a line. */
inline void addWholeNumber(Properties& properties, const ObjectImpl& owner, const char* name,
                           std::atomic<int>& value, int low, int high) {
    properties.add<int>(
        name, [&value] { return value.load(); },
        [&owner, &value, name, low, high](int wanted) {
            if (!isWithin(owner, name, wanted, low, high)) return false;
            value = wanted;
            return true;
        });
}

/** Adds a property that is on or off, and may be changed while others read it. */
inline void addFlag(Properties& properties, const char* name, std::atomic<bool>& flag) {
    properties.add<bool>(
        name, [&flag] { return flag.load(); },
        [&flag](bool wanted) {
            flag = wanted;
            return true;
        });
}

}  // namespace kep::host

#endif
