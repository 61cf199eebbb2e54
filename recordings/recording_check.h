#ifndef RECORDINGS_RECORDING_CHECK_H
#define RECORDINGS_RECORDING_CHECK_H

#include <cstdint>
#include <string>
#include <vector>

#include "recordings/file_bytes.h"

namespace recordings {

/** A part of a recording that cannot be played. */
struct Damage {
    enum class Kind {
        header,   /**< the file's own, which there is a copy of */
        samples,  /**< pictures or sound of a fragment that is there */
        fragment, /**< a fragment of which nothing is known, or what lies between two */
        end,      /**< what comes after all that can be played */
    };
    Kind kind;
    std::uint64_t begin;
    std::uint64_t end;
    std::uint64_t packets = 0; /**< damaged ones, of `samples` */
};

/** Bytes to be written, so that a player gets past a damage: at `offset`, and `count` - 1 times more after
 * each `stride` bytes. */
struct Repair {
    std::uint64_t offset;
    Bytes bytes;
    std::uint64_t stride = 0;
    std::uint64_t count = 1;
};

/** What an unfinished recording holds. */
struct RecordingCheck {
    enum class State {
        whole,       /**< nothing is missing */
        damaged,     /**< can be played but for `damages`, once `repairs` are made and it ends at `end` */
        unplayable,  /**< nothing in it can be played */
        noRecording, /**< something else */
        inUse,       /**< somebody is writing to it */
    };
    State state = State::noRecording;
    std::uint64_t end = 0; /**< where what is playable ends */
    double seconds = 0;    /**< length of what is playable */
    std::string reason;    /**< why it is not playable, or no recording */
    std::vector<Damage> damages;
    std::vector<Repair> repairs;
};

/** Looks through a file of any kind. Throws Failure when it cannot be read. */
RecordingCheck checkRecording(const std::string& path);

}  // namespace recordings

#endif
