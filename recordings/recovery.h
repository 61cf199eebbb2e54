#ifndef RECORDINGS_RECOVERY_H
#define RECORDINGS_RECOVERY_H

#include <string>
#include <vector>

#include "recordings/recording_check.h"

namespace recordings {

/** What has become of an unfinished recording. */
struct Recovery {
    RecordingCheck check;
    std::string path;      /**< the file's name now: its final one when it has been recovered */
    std::uint64_t cut = 0; /**< bytes taken off its end */
    std::string rest{};    /**< the file that has them now; empty when they were zeros only */
    bool recovered() const { return check.state <= RecordingCheck::State::damaged; }
};

/** What unfinished recordings have behind their names. */
inline constexpr const char* openExtension = ".part";

/** The unfinished recordings in a folder, by their names. Throws Failure when it cannot be read. */
std::vector<std::string> unfinishedIn(const std::string& folder);

/** What recoverFile() would do, as far as the names are not taken meanwhile; nothing is changed. Throws
 * Failure when the file cannot be read. */
Recovery planRecovery(const std::string& path);

/**
 * Checks an unfinished recording, has players skip what is damaged in it, and gives it its final name, or
 * that with a running number when the name is taken. A file in which nothing can be played stays as it is.
 *
 * Nothing that can be read is taken away: no byte moves, and what is cut off at the end, as only a transport
 * stream needs it, is first written to a file beside it, `NAME.rest`. Where that cannot be done it is not
 * cut. All of it goes through the file layer; after a power cut at any moment it can be done again.
 *
 * Throws Failure when the file cannot be read, changed or renamed; it is then still there under its old name.
 */
Recovery recoverFile(const std::string& path);

}  // namespace recordings

#endif
