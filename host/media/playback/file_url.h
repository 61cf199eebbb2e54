#ifndef KEP_HOST_FILE_URL_H
#define KEP_HOST_FILE_URL_H

#include <optional>
#include <string>

namespace kep::host {

/** The path in `file://PATH`; nothing, with an error line that names `owner`, for another URL. */
std::optional<std::string> localPath(const std::string& url, const std::string& owner);

}  // namespace kep::host

#endif
