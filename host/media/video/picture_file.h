#ifndef KEP_HOST_PICTURE_FILE_H
#define KEP_HOST_PICTURE_FILE_H

#include <cstddef>
#include <optional>
#include <string>

namespace kep::host {

/** The path in a file URL; nothing, with a line written, when it is no file URL or names no file. */
std::optional<std::string> pathOfFileUrl(const std::string& url);

/**
 * Writes a file whole or not at all, also when the power fails: under a temporary name in the same folder,
 * onto the disk, and renamed. It takes the place of an older file of its name.
 *
 * @return false, with `reason` filled and nothing left behind, when it cannot be written; false, too, when
 * only the folder cannot be synced: the file then bears its name until a power cut takes it back
 */
bool writeWhole(const std::string& path, const void* bytes, std::size_t size, std::string& reason);

}  // namespace kep::host

#endif
