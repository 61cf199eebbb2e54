#ifndef KEP_HOST_LOOPING_FILE_H
#define KEP_HOST_LOOPING_FILE_H

#include <functional>
#include <optional>

#include "media/common/media_reader.h"

namespace kep::host {

/** Reads the frames of a file in an endless loop without a gap; a pipe once, to its end. */
class LoopingFile {
  public:
    /** Converts a decoded frame; null, with `reason` filled, on failure. */
    using Convert = std::function<FramePtr(FramePtr, std::string& reason)>;

    /** Null, with `reason` filled, when it cannot be opened. `loops` is false for a pipe; `convert` may be
     * null. */
    static std::unique_ptr<LoopingFile> open(const MediaReader::Source& source, AVMediaType kind, bool loops,
                                             Convert convert, std::string& reason);

    const MediaReader& reader() const { return *reader_; }
    /** The next frame; null, with `reason` filled, at the end of a pipe or on failure. */
    FramePtr next(std::string& reason);
    /** Whether a pipe has reached its end. */
    bool hasEnded() const { return hasEnded_; }

  private:
    /** Ways back to the beginning of a file, fastest first. */
    enum class Rewind { byTime, byBytes, reopening, impossible };

    LoopingFile(MediaReader::Source source, AVMediaType kind, bool loops, Convert convert,
                std::unique_ptr<MediaReader> reader)
        : source_(std::move(source)),
          kind_(kind),
          loops_(loops),
          convert_(std::move(convert)),
          reader_(std::move(reader)) {}
    FramePtr startOver(std::string& reason);

    const MediaReader::Source source_;
    const AVMediaType kind_;
    const bool loops_;
    const Convert convert_;
    std::unique_ptr<MediaReader> reader_;
    Rewind rewind_ = Rewind::byTime;
    int inThisPass_ = 0;                   /**< frames read since the beginning */
    std::optional<std::int64_t> firstPts_; /**< of the first frame, to verify a rewind */
    FramePtr first_;                       /**< of this pass, until a second one is read */
    FramePtr only_;                        /**< the frame of a file with a single one, converted once */
    bool hasEnded_ = false;
};

}  // namespace kep::host

#endif
