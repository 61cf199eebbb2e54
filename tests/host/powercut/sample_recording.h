#ifndef VORNISA_SAMPLE_RECORDING_H
#define VORNISA_SAMPLE_RECORDING_H

#include <string>
#include <vector>

#include "recorded.h"
#include "sample_stream.h"

namespace kep::host {

/** A recording of a sample stream in files of one length each. */
struct SampleRecording : Recorded {
    struct Segment {
        std::string path;
        std::size_t begin; /**< its first packet */
        std::size_t end;   /**< the one after its last */
    };

    /** By the elements that record, with protection against a loss of power unless it is `flush=false`.
     * Throws when one refuses. */
    SampleRecording(const SampleStream& sample, int secondsOfSegment,
                    const std::string& muxer = "muxer-fmp4:flush=true");

    const SampleStream& stream;
    std::vector<Segment> segments;

  private:
    /** What has been renamed is told to be complete when the call that has renamed it returns. */
    void noteNames(const StepLog& log);

    std::size_t noted_ = 0;
};

}  // namespace kep::host

#endif
