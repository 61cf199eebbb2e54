#ifndef VNCAM_RECOVERY_H
#define VNCAM_RECOVERY_H

#include <string>
#include <vector>

#include "recording_check.h"

namespace vncam {

/** What has become of an unfinished recording. */
struct Recovery {
    RecordingCheck check;
    std::string path;      /**< the file's name now: its final one when it has been recovered */
    std::uint64_t cut = 0; /**< bytes taken off its end */
    bool recovered() const { return check.state <= RecordingCheck::State::torn; }
};

/** What unfinished recordings have behind their names. */
inline constexpr const char* openExtension = ".part";

/** The unfinished recordings in a folder, by their names. Throws Failure when it cannot be read. */
std::vector<std::string> unfinishedIn(const std::string& folder);

/**
 * Checks an unfinished recording, cuts off what is not whole at its end and gives it its final name, or that
 * with a running number when the name is taken. A file in which nothing can be played stays as it is.
 *
 * Throws Failure when the file cannot be read, cut or renamed; it is then still there under its old name.
 */
Recovery recoverFile(const std::string& path);

}  // namespace vncam

#endif
