#include "media/event/event_text.h"

#include <array>

#include "objects/log.h"
#include "text/time_span.h"

namespace kep::host {
namespace {

using std::chrono::milliseconds;

/** A time beyond this is of another clock, and a clip would wait for it for ever. */
constexpr std::chrono::seconds kFarthestAhead(60);

const char* findUnknown(const base::AttrSet& attributes, const std::array<const char*, 4>& known) {
    for (int i = 0; const char* const key = attributes.Key(i); ++i) {
        bool isKnown = false;
        for (const char* const name : known) isKnown = isKnown || std::string_view(key) == name;
        if (!isKnown) return key;
    }
    return nullptr;
}

}  // namespace

bool readSpan(const std::string& owner, const char* name, const std::string& text, milliseconds& span) {
    std::string reason;
    if (readTimeSpan(text, span, reason)) return true;
    KEP_HOST_ERROR(owner + ": " + name + "=" + text + " " + reason);
    return false;
}

std::optional<SteadyTime> readPoint(const std::string& owner, const std::string& text) {
    milliseconds point(0);
    if (!readSpan(owner, "tp", text, point)) return std::nullopt;
    const auto ahead = SteadyTime(point) - std::chrono::steady_clock::now();
    if (ahead <= kFarthestAhead) return SteadyTime(point);
    KEP_HOST_ERROR(owner + ": tp=" + text + " lies " +
                   std::to_string(std::chrono::floor<std::chrono::seconds>(ahead).count()) +
                   " s ahead of the monotonic clock");
    return std::nullopt;
}

bool readTrigger(const std::string& owner, const std::string& text, EventTrigger& trigger) {
    constexpr std::array<const char*, 4> names = {"pre", "post", "tp", "url"};
    base::AttrSet attributes;
    if (!attributes.Parse(text.c_str())) return false;
    trigger.url = attributes.GetOrDef("url", "");
    if (const char* const unknown = findUnknown(attributes, names)) {
        KEP_HOST_ERROR(owner + ": trigger={" + text + "} has no use for \"" + unknown + "\"");
        return false;
    }
    for (const char* const name : names) {
        const char* const value = attributes.Get(name);
        if (value && *value) continue;
        KEP_HOST_ERROR(owner + ": trigger={" + text + "} lacks " + name);
        return false;
    }
    if (!readSpan(owner, "pre", attributes.Get("pre"), trigger.pre) ||
        !readSpan(owner, "post", attributes.Get("post"), trigger.post))
        return false;
    const std::optional<SteadyTime> point = readPoint(owner, attributes.Get("tp"));
    if (!point) return false;
    trigger.point = *point;
    return true;
}

void addDeletion(Properties& properties, const ObjectImpl& owner) {
    properties.add<bool>(
        "delApp", [] { return false; },
        [&owner](bool wanted) {
            if (wanted)
                KEP_HOST_INFO(owner.label() + ": delApp=true: an application is deleted by its maker");
            return true;
        });
}

}  // namespace kep::host
