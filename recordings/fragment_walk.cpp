#include "recordings/fragment_walk.h"

#include <algorithm>

#include "recordings/failure.h"
#include "recordings/mp4_header.h"

namespace recordings {

namespace {

/** Bytes of a description; larger ones are skipped. That of half a second takes less than 2 KiB. */
constexpr std::uint64_t kMaxFragmentSize = 1 << 20;
/** Bytes read in addition to the size of the previous description: for a slightly longer one, and for the
 * headers of the adjacent boxes. */
constexpr std::uint64_t kReadAhead = 80;

}  // namespace

bool Mp4Beginning::expectsFragments() const {
    return std::ranges::any_of(index.tracks, [](const auto& track) { return track.second.hasDefaults; });
}

Mp4Beginning readBeginning(const FileBytes& file, BoxWindow& window, std::uint64_t maxIndex) {
    Mp4Beginning beginning;
    bool isFragmented = false;
    std::uint64_t at = 0;
    auto box = window.boxAt(at);
    if (!box || (box->kind != "ftyp" && box->kind != "moov" && box->kind != "styp"))
        throw Failure(file.path() + ": not an MP4 file");
    for (; box && box->kind != "moov"; box = window.boxAt(at)) {
        isFragmented = isFragmented || box->kind == "moof";
        at += box->end;
    }
    if (!box) throw Failure(file.path() + ": the index of this MP4 is missing or damaged");
    if (box->end > maxIndex)
        throw Failure(file.path() + ": index too large for a fragmented MP4: " + std::to_string(box->end) +
                      " bytes, at most " + std::to_string(maxIndex));
    beginning.contentsAt = at + box->contents;
    beginning.contents = file.read(at + box->contents, box->end - box->contents);
    auto index = readIndex(beginning.contents);
    if (!index) throw Failure(file.path() + ": the index of this MP4 is damaged");
    beginning.index = std::move(*index);
    at += box->end;
    beginning.mark = markAt(file, at);
    beginning.firstBox = isFragmented ? 0 : at;
    return beginning;
}

bool FragmentWalk::isFragment(std::uint64_t offset) {
    const auto box = window_.boxAt(offset);
    return box && box->kind == "moof";
}

bool FragmentWalk::next(std::uint64_t end) {
    while (const auto box = nextDescription(end)) {
        const ByteSpan read = window_.view(offset_ + box->contents, box->end - box->contents);
        contents_.assign(read.begin(), read.end());
        if (readFragment(contents_, offset_, file_.size(), beginning_.index, fragment_)) return !isForeign();
    }
    return false;
}

bool FragmentWalk::skip(std::uint64_t end) {
    return nextDescription(end) && !isForeign();
}

/** The header of the next `moof` box; the walk continues behind it. */
std::optional<BoxHeader> FragmentWalk::nextDescription(std::uint64_t end) {
    while (at_ < end) {
        const auto box = window_.boxAt(at_);
        if (!box) return std::nullopt;
        offset_ = at_;
        at_ += box->end;
        if (box->kind != "moof" || box->end > kMaxFragmentSize) continue;
        window_.expect(box->end + kReadAhead);
        return box;
    }
    return std::nullopt;
}

/** Skips the data box that comes next. True when the mark of another file follows it: these are the remains
 * of a deleted file in the same disk blocks. */
bool FragmentWalk::isForeign() {
    if (!beginning_.mark) return false;
    const auto box = window_.boxAt(at_);
    if (!box || box->kind != "mdat") return false;
    at_ += box->end;
    const auto behind = window_.boxAt(at_);
    const Bytes& mark = *beginning_.mark;
    if (!behind || behind->kind != "free" || behind->end != behind->contents + mark.size()) return false;
    return !std::ranges::equal(window_.view(at_ + behind->contents, mark.size()), mark);
}

}  // namespace recordings
