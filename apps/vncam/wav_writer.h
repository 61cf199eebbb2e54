#ifndef VNCAM_WAV_WRITER_H
#define VNCAM_WAV_WRITER_H

#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>

#include "output.h"

struct AVFormatContext;

namespace vncam {

/** Writes 16-bit samples as a WAV file. Into a pipe goes a header that leaves the length open. */
class WavWriter {
  public:
    /** Writes the header. Throws as Output does; `output` outlives the writer. */
    WavWriter(Output& output, int rate, int channels);
    WavWriter(const WavWriter&) = delete;
    WavWriter& operator=(const WavWriter&) = delete;

    /** Writes interleaved samples, at once where the output is a pipe. Throws as Output does. */
    void write(const void* samples, std::size_t bytes);
    /** Writes the length into the header of a file. To be called once, at the end. */
    void finish();

  private:
    struct FreeMuxer {
        void operator()(AVFormatContext* muxer) const;
    };

    static int onWrite(void* self, std::uint8_t* data, int size);
    static std::int64_t onSeek(void* self, std::int64_t offset, int whence);
    /** Throws what went wrong in a call of the library. */
    void check(int result);

    Output& output_;
    std::unique_ptr<AVFormatContext, FreeMuxer> muxer_;
    std::exception_ptr failure_; /**< of the output: none can pass through the library */
};

}  // namespace vncam

#endif
