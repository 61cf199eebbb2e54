#ifndef KEP_HOST_FILE_URL_H
#define KEP_HOST_FILE_URL_H

#include <optional>
#include <string>

namespace kep::host {

/** The path of `file://PATH`. Nothing, with an error line that names `owner`, for other URLs. */
std::optional<std::string> localPath(const std::string& url, const std::string& owner);

}  // namespace kep::host

#endif
