#include "retention.h"

#include <cerrno>
#include <cstring>

#include "command.h"
#include "terminal.h"
#include "vornisa_retention.h"

namespace vncam {
namespace {

/** Between checks while files are long. A large stream writes 25 MB meanwhile. */
constexpr std::chrono::seconds kInterval(10);

void reportDeletion(const char* path, std::int64_t bytes, int error, void* trouble) {
    const std::string name = path;
    if (error == 0) {
        report("record", name + ": deleted, " + countText(static_cast<std::uint64_t>(bytes), "byte"));
    } else {
        *static_cast<std::string*>(trouble) += name + ": cannot delete: " + std::strerror(error) + "\n";
    }
}

}  // namespace

Retention::Retention(const RecordSettings& settings) : settings_(settings) {
    for (const RecordSettings& each : settings.recordings()) names_.push_back(each.name);
}

void Retention::apply() {
    if (!settings_.isLimited()) return;
    next_ = std::chrono::steady_clock::now() + kInterval;
    std::vector<const char*> names;
    for (const std::string& name : names_) names.push_back(name.c_str());
    const VNRetention limits{settings_.folder.c_str(), names.data(),          names.size(),
                             settings_.keepBytes,      settings_.keepSeconds, settings_.freeBytes};
    std::string trouble;
    const int result = VNRetain(&limits, reportDeletion, &trouble);
    if (result == VN_RETAIN_FAILED && errno == EINVAL)
        throw UsageError("--name '" + settings_.name +
                         "': contains fields that cannot be parsed back, so its files cannot be found");
    if (result == VN_RETAIN_FAILED)
        trouble = settings_.folder + ": cannot read the folder: " + std::strerror(errno) + "\n";
    if (result == VN_RETAIN_EXCEEDED)
        trouble += settings_.folder + ": the limits are exceeded, and no file is left to delete\n";
    reportChanged(trouble);
}

void Retention::poll() {
    if (std::chrono::steady_clock::now() >= next_) apply();
}

void Retention::reportChanged(const std::string& trouble) {
    if (trouble == trouble_) return;
    trouble_ = trouble;
    for (std::size_t at = 0, end; (end = trouble.find('\n', at)) != trouble.npos; at = end + 1)
        report("record", trouble.substr(at, end - at));
}

}  // namespace vncam
