#ifndef RECORDINGS_RECOVERY_H
#define RECORDINGS_RECOVERY_H

#include <string>
#include <vector>

#include "recordings/recording_check.h"

namespace recordings {

/** Result of recovering an unfinished recording. */
struct Recovery {
    RecordingCheck check;
    std::string path;      /**< the current name: the final one if the file was recovered */
    std::uint64_t cut = 0; /**< bytes cut off the end */
    std::string rest{};    /**< the file with the cut bytes; empty when all were zeros */
    bool recovered() const { return check.state <= RecordingCheck::State::damaged; }
};

/** Suffix of unfinished recordings. */
inline constexpr const char* kOpenExtension = ".part";

/** The unfinished recordings in a folder, sorted by name. Throws Failure when it cannot be read. */
std::vector<std::string> unfinishedIn(const std::string& folder);

/** What recoverFile() would do, unless names are taken in the meantime; changes nothing. Throws Failure when
 * the file cannot be read. */
Recovery planRecovery(const std::string& path);

/**
 * Checks an unfinished recording, makes players skip its damaged parts, and renames it to its final name,
 * with a running number when that is in use. An unplayable file is not changed.
 *
 * No readable data is lost: no byte moves, and the end, which is cut off only from a transport stream, is
 * first copied to `NAME.rest`; if that fails, the file is not cut. Everything goes through the file layer and
 * can be repeated after a power cut at any moment.
 *
 * Throws Failure when the file cannot be read, changed or renamed; it then keeps its old name.
 */
Recovery recoverFile(const std::string& path);

}  // namespace recordings

#endif
