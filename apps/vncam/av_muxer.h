#ifndef VNCAM_AV_MUXER_H
#define VNCAM_AV_MUXER_H

#include <cstdint>
#include <exception>
#include <memory>

#include "output.h"

struct AVFormatContext;

namespace vncam {

/** A muxer of libavformat that writes to an output, each packet at once. */
class AvMuxer {
  public:
    enum class Seeking { no, whereItCan };

    /**
     * @param format libavformat's name of it
     * @param title the format in messages
     * @param seeking `whereItCan` opens the output now; otherwise the first bytes do
     */
    AvMuxer(Output& output, const char* format, const char* title, Seeking seeking);
    AvMuxer(const AvMuxer&) = delete;
    AvMuxer& operator=(const AvMuxer&) = delete;

    AVFormatContext* get() const { return muxer_.get(); }
    AVFormatContext* operator->() const { return muxer_.get(); }

    /** Throws what went wrong in a call of the library, by its result: as Output does where that failed, now
     * or before, otherwise Failure. */
    void check(int result) const;

  private:
    struct Free {
        void operator()(AVFormatContext* muxer) const;
    };

    static int onWrite(void* self, std::uint8_t* data, int size);
    static std::int64_t onSeek(void* self, std::int64_t offset, int whence);

    Output& output_;
    const char* const title_;
    std::unique_ptr<AVFormatContext, Free> muxer_;
    std::exception_ptr failure_; /**< of the output: none can pass through the library */
};

}  // namespace vncam

#endif
