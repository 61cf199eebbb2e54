#ifndef VNCAM_RECORDING_CHECK_H
#define VNCAM_RECORDING_CHECK_H

#include <cstdint>
#include <string>

namespace vncam {

/** What an unfinished recording holds. */
struct RecordingCheck {
    enum class State {
        whole,       /**< nothing is missing */
        torn,        /**< playable up to `end`; what follows is not */
        unplayable,  /**< nothing in it can be played */
        noRecording, /**< something else */
        inUse,       /**< somebody is writing to it */
    };
    State state = State::noRecording;
    std::uint64_t end = 0; /**< where what is playable ends */
    double seconds = 0;    /**< length of what is playable */
    std::string reason;    /**< why it is not playable, or no recording */
};

/** Looks through a file of any kind. Throws Failure when it cannot be read. */
RecordingCheck checkRecording(const std::string& path);

}  // namespace vncam

#endif
