#ifndef VNCAM_MADE_FILE_H
#define VNCAM_MADE_FILE_H

#include <cstdint>
#include <optional>
#include <string>

namespace vncam {

/** The path in a file URL. */
std::string pathOfUrl(const std::string& url);
/** The file URL of a path; a URL stays as it is. */
std::string urlOfPath(const std::string& path);

/** Size of a recording so far, under its temporary or final name; 0 when there is none yet. */
std::uint64_t bytesOf(const std::string& path);

/** Length of a recording in seconds, read from the file; nullopt when it cannot be read. */
std::optional<double> secondsOf(const std::string& path);

/** "a.mp4: 10.0 s, 1234567 bytes", with the result of secondsOf(); "a.mp4: no longer exists" without one. */
std::string lengthAndSize(const std::string& path, std::optional<double> seconds);

}  // namespace vncam

#endif
