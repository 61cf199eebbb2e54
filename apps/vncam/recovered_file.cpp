#include "recovered_file.h"

#include <cstdio>

#include "json.h"
#include "terminal.h"

namespace vncam {
namespace {

using recordings::Damage;
using recordings::Recovery;

/** Damages per file in the text, one line each. */
constexpr std::size_t kMostLines = 20;

std::string packetsText(std::uint64_t packets) {
    return (packets == 0 ? "no packet" : countText(packets, "packet")) + " damaged";
}

std::string text(const Damage& damage) {
    using Kind = Damage::Kind;
    const std::string place =
        " at byte " + std::to_string(damage.begin) + ": " + countText(damage.end - damage.begin, "byte");
    switch (damage.kind) {
        case Kind::header:
            return "header" + place + ", restored from its copy";
        case Kind::samples:
            return "hole" + place + ", " + packetsText(damage.packets);
        case Kind::fragment:
            return "hole" + place + ", skipped";
        case Kind::end:
            break;
    }
    return "end" + place + ", incomplete";
}

const char* nameOf(Damage::Kind kind) {
    switch (kind) {
        case Damage::Kind::header:
            return "header";
        case Damage::Kind::samples:
            return "packets";
        case Damage::Kind::fragment:
            return "skipped";
        case Damage::Kind::end:
            break;
    }
    return "end";
}

std::string recoveryText(const std::string& path, const Recovery& recovery, bool planned) {
    if (!recovery.recovered())
        return path + (planned ? ": would be" : ":") + " unchanged: " + recovery.check.reason;
    std::string all =
        path + (planned ? " would be " : " -> ") + recovery.path + ": " + lengthText(recovery.check.seconds);
    if (!recovery.check.rebuilt.empty()) all += "\n  index rebuilt: " + recovery.check.rebuilt;
    std::size_t lines = 0;
    for (const Damage& damage : recovery.check.damages) {
        if (++lines > kMostLines) continue;
        all += "\n  " + text(damage);
        if (damage.kind == Damage::Kind::end && recovery.cut > 0)
            all += recovery.rest.empty() ? ", cut off: all zeros" : ", moved to " + recovery.rest;
    }
    if (lines > kMostLines) all += "\n  and " + std::to_string(lines - kMostLines) + " more";
    return all;
}

std::string member(const char* name, const std::string& text) {
    return std::string(", \"") + name + "\": " + jsonText(text);
}
std::string member(const char* name, std::uint64_t number) {
    return std::string(", \"") + name + "\": " + std::to_string(number);
}

std::string recoveryJson(const Recovery& recovery) {
    if (!recovery.recovered()) return member("result", "unchanged") + member("reason", recovery.check.reason);
    char seconds[32];
    std::snprintf(seconds, sizeof seconds, "%.3f", recovery.check.seconds);
    std::string all = member("result", "recovered") + member("name", recovery.path) +
                      ", \"seconds\": " + seconds + ", \"damages\": [";
    const char* separator = "";
    for (const Damage& damage : recovery.check.damages) {
        all += separator + ("{\"kind\": " + jsonText(nameOf(damage.kind))) + member("begin", damage.begin) +
               member("end", damage.end);
        if (damage.kind == Damage::Kind::samples) all += member("packets", damage.packets);
        all += "}";
        separator = ", ";
    }
    all += "]";
    if (!recovery.check.rebuilt.empty()) all += member("rebuilt", recovery.check.rebuilt);
    if (recovery.cut > 0) all += member("cut", recovery.cut);
    if (!recovery.rest.empty()) all += member("rest", recovery.rest);
    return all;
}

}  // namespace

std::string textOf(const RecoveredFile& file, bool planned) {
    switch (file.kind) {
        case RecoveredFile::Kind::recording:
            return recoveryText(file.file, file.recovery, planned);
        case RecoveredFile::Kind::removed:
            return file.file + (planned ? " would be removed" : " removed") +
                   ": a temporary file of a process that has ended";
        case RecoveredFile::Kind::failed:
            break;
    }
    return file.error;
}

std::string jsonOf(const RecoveredFile& file) {
    const std::string begin = "{\"file\": " + jsonText(file.file);
    switch (file.kind) {
        case RecoveredFile::Kind::recording:
            return begin + recoveryJson(file.recovery) + "}";
        case RecoveredFile::Kind::removed:
            return begin + member("result", "removed") + "}";
        case RecoveredFile::Kind::failed:
            break;
    }
    return begin + member("result", "failed") + member("error", file.error) + "}";
}

}  // namespace vncam
