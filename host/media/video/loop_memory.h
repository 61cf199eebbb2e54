#ifndef KEP_HOST_LOOP_MEMORY_H
#define KEP_HOST_LOOP_MEMORY_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "kep/visibility.h"
#include "media/common/ffmpeg.h"

namespace kep::host {

/**
 * The first pictures of a loop, decoded: a loop that is short enough is decoded once, of a longer one only
 * what lies behind them is decoded in each pass. They end before a key frame, where a decoder can go on.
 */
class KEP_API LoopMemory {
  public:
    /** What is kept at most, from KEP_HOST_LOOP_MEMORY; empty, with `reason` filled, when that is no size. */
    static std::optional<std::size_t> chosenBytes(std::string& reason);

    /** Whatever `bytes`, a single picture has its place. */
    explicit LoopMemory(std::size_t bytes) : room_(bytes) {}

    /** Takes the next picture of the first pass. */
    void add(const AVFrame& picture);
    /** The first pass is over. */
    void finish() { filling_ = false; }
    /** Keeps nothing any more. */
    void forget();

    std::size_t size() const { return pictures_.size(); }
    FramePtr at(std::size_t index) const { return FramePtr(av_frame_clone(pictures_[index].get())); }

    /** Whether these are all pictures of the loop. */
    bool isWhole() const { return !filling_ && !resumeAt_ && !pictures_.empty(); }
    /** The time of the key frame that follows on them; empty when nothing does, or nothing is kept. */
    std::optional<std::int64_t> resumeAt() const { return resumeAt_; }

  private:
    const std::size_t room_;
    std::size_t bytes_ = 0;
    bool filling_ = true;
    std::vector<FramePtr> pictures_;
    std::optional<std::int64_t> resumeAt_;
};

}  // namespace kep::host

#endif
