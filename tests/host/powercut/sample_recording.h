#ifndef VORNISA_SAMPLE_RECORDING_H
#define VORNISA_SAMPLE_RECORDING_H

#include <string>
#include <vector>

#include "recorded.h"
#include "sample_stream.h"

namespace kep::host {

/** A recording of a sample stream in segments of equal length. */
struct SampleRecording : Recorded {
    struct Segment {
        std::string path;
        std::size_t begin; /**< its first packet */
        std::size_t end;   /**< one past its last packet */
    };

    /**
     * Records with the pipeline's elements, with power-fail protection unless `muxer` has `flush=false`.
     * Throws if one refuses.
     */
    SampleRecording(const SampleStream& sample, int secondsOfSegment,
                    const std::string& muxer = "muxer-fmp4:flush=true");

    const SampleStream& stream;
    std::vector<Segment> segments;

  private:
    /** A renamed file counts as reported complete when the call that renamed it returns. */
    void noteNames(const StepLog& log);

    std::size_t noted_ = 0;
};

}  // namespace kep::host

#endif
