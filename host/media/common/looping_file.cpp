#include "media/common/looping_file.h"

#include <new>

namespace kep::host {

std::unique_ptr<LoopingFile> LoopingFile::open(const MediaReader::Source& source, AVMediaType kind,
                                               bool loops, Convert convert, std::string& reason) {
    std::unique_ptr<MediaReader> reader = MediaReader::open(source, kind, reason);
    if (!reader) return nullptr;
    return std::unique_ptr<LoopingFile>(
        new LoopingFile(source, kind, loops, std::move(convert), std::move(reader)));
}

FramePtr LoopingFile::next(std::string& reason) {
    FramePtr frame(only_ ? av_frame_clone(only_.get()) : av_frame_alloc());
    if (!frame) throw std::bad_alloc();
    if (only_) return frame;
    const int result = reader_->read(*frame);
    if (result >= 0) {
        frame->pts = frame->best_effort_timestamp;
        if (convert_) frame = convert_(std::move(frame), reason);
        if (!frame) return nullptr;
        if (!firstPts_) firstPts_ = frame->pts;
        first_.reset(++inThisPass_ == 1 && loops_ ? av_frame_clone(frame.get()) : nullptr);
        return frame;
    }
    hasEnded_ = result == AVERROR_EOF && !loops_ && inThisPass_ > 0;
    if (hasEnded_) {
        reason = "has ended";
    } else if (result != AVERROR_EOF) {
        reason = ffmpegError(result);
    } else if (inThisPass_ == 0) {
        reason = kind_ == AVMEDIA_TYPE_VIDEO ? "contains no video" : "contains no audio";
    } else {
        // A file of a single frame is decoded and converted once.
        only_ = std::move(first_);
        return only_ ? next(reason) : startOver(reason);
    }
    return nullptr;
}

FramePtr LoopingFile::startOver(std::string& reason) {
    // Not every format can seek to its beginning by time; reopening always works, but takes longest.
    for (; rewind_ != Rewind::impossible; rewind_ = static_cast<Rewind>(static_cast<int>(rewind_) + 1)) {
        inThisPass_ = 0;
        const bool reopens = rewind_ == Rewind::reopening;
        if (reopens) {
            std::unique_ptr<MediaReader> reopened = MediaReader::open(source_, kind_, reason);
            if (!reopened) return nullptr;
            reader_ = std::move(reopened);
        } else if (!reader_->rewind(rewind_ == Rewind::byBytes)) {
            continue;
        }
        if (FramePtr frame = next(reason); frame && (reopens || frame->pts == firstPts_)) return frame;
    }
    reason = "cannot rewind to its beginning";
    return nullptr;
}

}  // namespace kep::host
