#ifndef VNCAM_WAV_WRITER_H
#define VNCAM_WAV_WRITER_H

#include <cstddef>

#include "av_muxer.h"

namespace vncam {

/** Writes 16-bit samples as a WAV file. The header in a pipe leaves the length open. */
class WavWriter {
  public:
    /** Writes the header. Throws as Output does; `output` must outlive the writer. */
    WavWriter(Output& output, int rate, int channels);

    /** Writes interleaved samples, at once where the output is a pipe. Throws as Output does. */
    void write(const void* samples, std::size_t bytes);
    /** Writes the length into the header of a file. To be called once, at the end. */
    void finish();

  private:
    AvMuxer muxer_;
};

}  // namespace vncam

#endif
