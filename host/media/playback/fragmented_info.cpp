#include <cstdint>
#include <string>

#include "media/playback/file_url.h"
#include "objects/class_registry.h"
#include "objects/log.h"
#include "recordings/failure.h"
#include "recordings/mp4_length.h"

namespace kep::host {
namespace {

/**
 * Information on a fragmented MP4 file, `url=file://PATH`: "duration" in milliseconds. Reads the file once,
 * at creation, which fails if the duration cannot be determined. Starts no thread.
 */
class FragmentedInfo final : public ObjectImpl {
  public:
    FragmentedInfo() {
        reserveAttributes({"url"});
        properties().add<std::int64_t>(
            "duration", [this] { return milliseconds_; }, nullptr);
    }

    bool Configure(base::AttrSet& attributes) override try {
        if (!ObjectImpl::Configure(attributes)) return false;
        const std::string url = attributes.GetOrDef("url", "");
        const auto path = localPath(url, label());
        if (!path) return false;
        milliseconds_ = recordings::fragmentedLength(*path);
        return true;
    } catch (const recordings::Failure& failure) {
        KEP_HOST_ERROR(label() + ": " + failure.what());
        return false;
    }

  private:
    std::int64_t milliseconds_ = 0;
};

const ClassRegistration<FragmentedInfo> fragmentedInfoRegistration("fmp4-info");

}  // namespace
}  // namespace kep::host
