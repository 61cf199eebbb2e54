#ifndef VNCAM_AV_MUXER_H
#define VNCAM_AV_MUXER_H

#include <cstdint>
#include <exception>
#include <memory>

#include "output.h"

struct AVFormatContext;

namespace vncam {

/** A libavformat muxer that writes each packet to an Output at once. */
class AvMuxer {
  public:
    enum class Seeking { no, whereItCan };

    /**
     * @param format libavformat's name of the format
     * @param title name of the format in messages
     * @param seeking `whereItCan` opens the output now, to find out; otherwise the first write opens it
     */
    AvMuxer(Output& output, const char* format, const char* title, Seeking seeking);
    AvMuxer(const AvMuxer&) = delete;
    AvMuxer& operator=(const AvMuxer&) = delete;

    AVFormatContext* get() const { return muxer_.get(); }
    AVFormatContext* operator->() const { return muxer_.get(); }

    /** Checks the result of a libavformat call. Throws what the output threw, in this call or an earlier one,
     * otherwise Failure for a negative result. */
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
    std::exception_ptr failure_; /**< thrown by the output: exceptions must not pass through the library */
};

}  // namespace vncam

#endif
