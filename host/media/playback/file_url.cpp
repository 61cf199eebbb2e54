#include "media/playback/file_url.h"

#include "kep/attr_set.h"
#include "kep/url.h"
#include "objects/log.h"
#include "text/names.h"

namespace kep::host {

std::optional<std::string> localPath(const std::string& url, const std::string& owner) {
    base::AttrSet parts;
    if (!base::IUrl::Parse(url.c_str(), parts)) return std::nullopt;
    if (foldedName(parts.GetOrDef("scheme", "")) == "file") return std::string(parts.GetOrDef("path", ""));
    KEP_HOST_ERROR(owner + ": url={" + url + "} is not a file URL");
    return std::nullopt;
}

}  // namespace kep::host
