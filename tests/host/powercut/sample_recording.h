#ifndef VORNISA_SAMPLE_RECORDING_H
#define VORNISA_SAMPLE_RECORDING_H

#include <string>
#include <vector>

#include "sample_stream.h"
#include "step_log.h"

namespace kep::host {

/** A recording of a sample stream in files of one length each, and all that it asked of the disk. */
struct SampleRecording {
    struct Segment {
        std::string path;
        std::size_t begin; /**< its first packet */
        std::size_t end;   /**< the one after its last */
    };

    /** By the elements that record, with protection against a loss of power. Throws when one refuses. */
    SampleRecording(const SampleStream& stream, int secondsOfSegment);

    const SampleStream& stream;
    std::vector<Segment> segments;
    std::vector<Step> steps; /**< their progress is the number of packets that were captured by then */
};

}  // namespace kep::host

#endif
