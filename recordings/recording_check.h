#ifndef RECORDINGS_RECORDING_CHECK_H
#define RECORDINGS_RECORDING_CHECK_H

#include <cstdint>
#include <string>
#include <vector>

#include "recordings/file_bytes.h"

namespace recordings {

/** A damaged part of a recording. */
struct Damage {
    enum class Kind {
        header,   /**< of the file; a copy exists */
        samples,  /**< samples of a readable fragment */
        fragment, /**< an unreadable fragment, or bytes between two */
        end,      /**< behind the last playable part */
    };
    Kind kind;
    std::uint64_t begin;
    std::uint64_t end;
    std::uint64_t packets = 0; /**< damaged packets, for `samples` */
};

/** Bytes to write so that players skip a damaged part: `count` times, at `offset` and then every `stride`
 * bytes. */
struct Repair {
    std::uint64_t offset;
    Bytes bytes;
    std::uint64_t stride = 0;
    std::uint64_t count = 1;
    bool isLast = false; /**< to be written when all others are on the disk */
};

/** Result of checking an unfinished recording. */
struct RecordingCheck {
    enum class State {
        whole,       /**< nothing is missing */
        damaged,     /**< plays except for `damages`, once `repairs` are applied and it ends at `end` */
        unplayable,  /**< nothing in it can be played */
        noRecording, /**< neither MP4 nor MPEG-TS */
        inUse,       /**< another process is writing to it */
    };
    State state = State::noRecording;
    std::uint64_t end = 0; /**< end of the playable part, in bytes */
    double seconds = 0;    /**< length of the playable part */
    std::string reason;    /**< why it is unplayable or not a recording */
    std::vector<Damage> damages;
    std::vector<Repair> repairs;
    std::string rebuilt{}; /**< describes a rebuilt index to the user; empty without one */
};

/** Checks a file of any kind. Throws Failure when it cannot be read. */
RecordingCheck checkRecording(const std::string& path);

}  // namespace recordings

#endif
