#ifndef RECORDINGS_TEMPORARY_FILE_H
#define RECORDINGS_TEMPORARY_FILE_H

#include <string>
#include <string_view>
#include <vector>

namespace recordings {

/**
 * A unique path in a folder for a file that gets its final name once it is complete. The name is hidden,
 * short, as the final name may have the maximum length, and contains the process id, so that other processes
 * can recognise abandoned files.
 */
std::string temporaryPath(const std::string& folder, std::string_view kind);

/** The temporary files in a folder whose process has ended, sorted by name. Throws Failure when the folder
 * cannot be read. */
std::vector<std::string> abandonedIn(const std::string& folder);

/** Removes such a file; with `planned` only reports whether it would. False when a process is still writing
 * to it. Throws Failure when it cannot be opened or removed. */
bool removeAbandoned(const std::string& path, bool planned);

/** Whether any process has the file open for writing. Throws Failure when it cannot be opened. */
bool isBeingWritten(const std::string& path);

}  // namespace recordings

#endif
