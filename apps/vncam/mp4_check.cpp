#include "mp4_check.h"

#include <algorithm>
#include <limits>

#include "sample_check.h"

namespace vncam {

namespace {

using State = RecordingCheck::State;

constexpr std::uint64_t headerRoom = 16;

class Mp4Checker {
  public:
    explicit Mp4Checker(const FileBytes& file) : file_(file) {}

    RecordingCheck check() {
        while (at_ < file_.size() && takeBox()) {
        }
        const bool all = at_ == file_.size();
        if (fragments_ > 0) return {all ? State::whole : State::torn, good_, last_ - first_, {}};
        const bool listed = index_ && std::ranges::any_of(index_->tracks, [](const auto& track) {
                                return track.second.samples > 0;
                            });
        if (listed && hasData_ && all) return {State::whole, at_, index_->seconds, {}};
        if (!index_ && hasData_)
            return unplayable("a plain MP4 without its index, which cannot be recovered");
        return unplayable("nothing was complete yet");
    }

  private:
    static RecordingCheck unplayable(const char* reason) { return {State::unplayable, 0, 0, reason}; }

    /** Goes on behind the next box; false when it is not all there. */
    bool takeBox() {
        const auto header = readBoxHeader(file_.read(at_, headerRoom), file_.size() - at_);
        if (!header || isOpenEnded()) {
            hasData_ = hasData_ || isData();
            return false;
        }
        const bool isFragment = header->kind == "moof";
        if (header->kind == "moov" && !takeIndex(*header)) return false;
        if (isFragment && !takeFragment(*header)) return false;
        if (header->kind == "mdat") {
            hasData_ = true;
            if (pending_ && !takeSamples(at_ + header->contents, at_ + header->end)) return false;
        }
        at_ += header->end;
        // A fragment counts with its data; all else counts by itself.
        if (!pending_) good_ = at_;
        return true;
    }

    /** A box that goes on to the end of the file has never been finished. */
    bool isOpenEnded() const {
        const Bytes size = file_.read(at_, 4);
        return size.size() < 4 || bigEndian(size, 0, 4) == 0;
    }
    bool isData() const {
        const Bytes bytes = file_.read(at_, 8);
        return bytes.size() == 8 && std::equal(bytes.begin() + 4, bytes.end(), "mdat");
    }

    Bytes contentsOf(const BoxHeader& header) const {
        return file_.read(at_ + header.contents, header.end - header.contents);
    }

    bool takeIndex(const BoxHeader& header) {
        index_ = readIndex(contentsOf(header));
        return index_.has_value();
    }

    bool takeFragment(const BoxHeader& header) {
        if (!index_ || pending_) return false;
        pending_ = readFragment(contentsOf(header), at_, *index_);
        return pending_.has_value();
    }

    bool takeSamples(std::uint64_t begin, std::uint64_t end) {
        const Bytes data = file_.read(begin, end - begin);
        for (const Mp4Sample& sample : pending_->samples) {
            if (sample.offset < begin || sample.offset > end || sample.size > end - sample.offset)
                return false;
            const ByteSpan bytes = ByteSpan(data).subspan(sample.offset - begin, sample.size);
            if (!isWholeSample(index_->tracks.at(sample.track), bytes)) return false;
        }
        first_ = std::min(first_, pending_->begin);
        last_ = std::max(last_, pending_->end);
        ++fragments_;
        pending_.reset();
        return true;
    }

    const FileBytes& file_;
    std::uint64_t at_ = 0;
    std::uint64_t good_ = 0;
    bool hasData_ = false;
    std::optional<Mp4Index> index_;
    std::optional<Mp4Fragment> pending_; /**< a fragment whose data is to come */
    int fragments_ = 0;
    double first_ = std::numeric_limits<double>::max();
    double last_ = 0;
};

}  // namespace

bool beginsLikeMp4(const FileBytes& file) {
    const Bytes bytes = file.read(0, 8);
    return bytes.size() == 8 && std::equal(bytes.begin() + 4, bytes.end(), "ftyp");
}

RecordingCheck checkMp4(const FileBytes& file) {
    return Mp4Checker(file).check();
}

}  // namespace vncam
