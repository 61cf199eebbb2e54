#ifndef KEP_HOST_LOOPING_FILE_H
#define KEP_HOST_LOOPING_FILE_H

#include <functional>
#include <optional>

#include "media/common/media_reader.h"

namespace kep::host {

/** The frames of a file, over and over without a gap. A pipe is read once and ends. */
class LoopingFile {
  public:
    /** What becomes of each decoded frame; null, with `reason` filled, when nothing can. */
    using Convert = std::function<FramePtr(FramePtr, std::string& reason)>;

    /** Null, with `reason` filled, when it cannot be opened. `loops` is false for a pipe; `convert` may be
     * null. */
    static std::unique_ptr<LoopingFile> open(const MediaReader::Source& source, AVMediaType kind, bool loops,
                                             Convert convert, std::string& reason);

    const MediaReader& reader() const { return *reader_; }
    /** The next frame; null, with `reason` filled, when there is none to come. */
    FramePtr next(std::string& reason);
    /** Whether the last frame of a pipe has been read. */
    bool hasEnded() const { return hasEnded_; }

  private:
    /** Ways back to the beginning of a file, the quickest first. */
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
    int inThisPass_ = 0;
    std::optional<std::int64_t> firstPts_; /**< of all */
    FramePtr first_;                       /**< of this pass, while it is the only one */
    FramePtr only_;                        /**< the whole of a file of one frame, converted once */
    bool hasEnded_ = false;
};

}  // namespace kep::host

#endif
