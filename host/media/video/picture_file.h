#ifndef KEP_HOST_PICTURE_FILE_H
#define KEP_HOST_PICTURE_FILE_H

#include <cstddef>
#include <optional>
#include <string>

namespace kep::host {

/** The path in a file URL; nullopt, with an error line, when it is not a file URL or has no file name. */
std::optional<std::string> pathOfFileUrl(const std::string& url);

/**
 * Writes a file whole or not at all, also across a power cut: writes a temporary file in the same folder,
 * syncs and renames it. Replaces an existing file.
 *
 * @return false, with `reason` filled, when it cannot be written, which leaves no temporary file; also when
 * only the folder cannot be synced: the file is then in place, but a power cut may undo the rename
 */
bool writeWhole(const std::string& path, const void* bytes, std::size_t size, std::string& reason);

}  // namespace kep::host

#endif
