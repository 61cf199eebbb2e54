#include <algorithm>
#include <cstring>
#include <functional>
#include <queue>
#include <utility>

#include "recordings/mp4_boxes.h"
#include "recordings/mp4_header.h"
#include "recordings/plain_index.h"

namespace recordings {
namespace {

constexpr std::uint64_t kLengthBytes = 4;
constexpr std::uint64_t kMaxParameterSet = 1024;
/** Maximum bytes of a macroblock of 16 x 16 pixels (ITU-T H.264, A.3.1). */
constexpr std::uint64_t kMaxBlock = 400;
constexpr int kBlockEdge = 16;
/** Bytes in which the first parameter sets must begin: audio of the first seconds may precede them. */
constexpr std::uint64_t kMaxBeginning = 1 << 20;
/** Maximum bytes between two pictures: four seconds of audio at 128 kbit/s. */
constexpr std::uint64_t kMaxGap = 64 << 10;
/** Consecutive zero bytes that make a hole in a file: a sector that was not written. */
constexpr std::uint64_t kMinHole = 512;
/** Bytes read at a time. */
constexpr std::uint64_t kPieceSize = 64 << 10;
/** Bytes read per byte of the file, on average: damaged data could have bytes read over and over. */
constexpr std::uint64_t kMaxReadsOfByte = 32;
/** More than a day at 60 pictures per second; the indexes of links have 32 bits. */
constexpr std::size_t kMaxPictures = 6'000'000;

/** slice_type has two numbers for each of these. */
constexpr std::uint32_t kDistinctSliceKinds = 5;
constexpr std::uint32_t kBidirectional = 1;

struct Unit {
    std::uint64_t begin; /**< behind its length */
    std::uint64_t bytes;
    UnitKind kind;
    Bytes head; /**< its first bytes, at most kSliceHeadBytes */
    std::uint64_t end() const { return begin + bytes; }
};

struct Picture {
    FoundPicture found;
    std::uint32_t frameNumber;
    bool isReference;
    std::uint64_t end() const { return found.offset + found.bytes; }
};

/** A possible picture, and the longest chain of pictures that it continues. */
struct Link {
    FoundPicture found;
    std::uint32_t nextNumber; /**< frame number of the next picture, unless that is a key frame */
    std::uint32_t previous;   /**< kNone: it begins the chain */
    std::uint32_t count;      /**< pictures of the chain, with this one */
    std::uint64_t bytes;      /**< of these pictures */
    std::uint64_t end() const { return found.offset + found.bytes; }
    bool isBetterThan(const Link& other) const {
        return count != other.count ? count > other.count : bytes > other.bytes;
    }
};
constexpr std::uint32_t kNone = UINT32_MAX;

/** Whether all bytes are zero. Holes in a file may be long, so this must be fast. */
bool isEmpty(ByteSpan bytes) {
    return bytes.empty() ||
           (bytes[0] == 0 && std::memcmp(bytes.data(), bytes.data() + 1, bytes.size() - 1) == 0);
}

/**
 * Finds pictures interleaved with audio, whose packets have no recognisable beginning. Audio sometimes looks
 * like a picture, and would hide the one behind it if it were taken for one. The longest chain of pictures
 * with consecutive frame numbers is the video.
 */
class PictureSearch {
  public:
    PictureSearch(const FileBytes& file, std::uint64_t begin) : file_(file), begin_(begin) {}

    std::optional<RebuiltIndex> run() {
        if (!findParameterSets()) return std::nullopt;
        chains_.resize(std::size_t{1} << set_.frameNumberBits, kNone);
        forEachCandidate(first_, file_.size(), [this](std::uint64_t at) {
            if (const auto picture = pictureAt(at)) link(*picture);
            return links_.size() == kMaxPictures;
        });
        const std::vector<FoundPicture> pictures = longestChain();
        if (pictures.empty()) return std::nullopt;
        RebuiltIndex rebuilt;
        rebuilt.index = plainIndex(set_, sequenceSet_, pictureSet_, pictures);
        rebuilt.pictures = pictures.size();
        rebuilt.rate = static_cast<double>(set_.timescale) / set_.duration;
        std::uint64_t end = begin_;
        for (const FoundPicture& picture : pictures) {
            rebuilt.hasOther = rebuilt.hasOther || picture.offset > end;
            end = picture.offset + picture.bytes;
        }
        return rebuilt;
    }

  private:
    Bytes read(std::uint64_t offset, std::uint64_t count) const {
        Bytes bytes = file_.read(offset, count);
        read_ += bytes.size();
        return bytes;
    }
    bool isOverBudget() const { return read_ > kMaxReadsOfByte * file_.size(); }

    std::optional<Unit> unitAt(std::uint64_t at) const {
        const Bytes bytes = read(at, kLengthBytes + kSliceHeadBytes);
        if (bytes.size() <= kLengthBytes || isOverBudget()) return std::nullopt;
        const std::uint64_t length = bigEndian(bytes, 0, kLengthBytes);
        const auto kind = unitKind(bytes[kLengthBytes]);
        const std::uint64_t begin = at + kLengthBytes;
        if (!kind || length < 2 || length > maxUnit_ || length > file_.size() - begin) return std::nullopt;
        const std::size_t known = std::min<std::uint64_t>(length, bytes.size() - kLengthBytes);
        const auto head = bytes.begin() + kLengthBytes;
        return Unit{begin, length, *kind, Bytes(head, head + static_cast<std::ptrdiff_t>(known))};
    }

    /** The first sequence parameter set with the picture parameter set that follows it. */
    bool findParameterSets() {
        const std::uint64_t end = std::min(file_.size(), begin_ + kMaxBeginning);
        return forEachCandidate(begin_, end, [this](std::uint64_t at) {
            const auto sequence = unitAt(at);
            if (!sequence || sequence->kind != UnitKind::sequenceSet) return false;
            const auto picture = unitAt(sequence->end());
            if (!picture || picture->kind != UnitKind::pictureSet) return false;
            sequenceSet_ = read(sequence->begin, sequence->bytes);
            pictureSet_ = read(picture->begin, picture->bytes);
            const auto set = readSequenceSet(sequenceSet_);
            if (!set || set->timescale == 0) return false;
            set_ = *set;
            const auto blocks = [](int pixels) {
                return static_cast<std::uint64_t>((pixels + kBlockEdge - 1) / kBlockEdge);
            };
            maxUnit_ = blocks(set_.width) * blocks(set_.height) * kMaxBlock + kMaxParameterSet;
            first_ = at;
            return true;
        });
    }

    /** Calls `visit` where a unit might begin, until it returns true; returns whether it did. */
    template <class Visit>
    bool forEachCandidate(std::uint64_t begin, std::uint64_t end, Visit&& visit) const {
        for (std::uint64_t at = begin; at < end; at += kPieceSize) {
            if (isOverBudget()) return false;
            const Bytes bytes = read(at, std::min(kPieceSize, end - at) + kLengthBytes);
            if (isEmpty(bytes)) continue;
            for (std::size_t i = 0; i + kLengthBytes < bytes.size(); ++i) {
                zeroes_ = bytes[i] == 0 ? zeroes_ + 1 : 0;
                if (zeroes_ >= kMinHole) holeEnd_ = at + i;
                if (bytes[i] == 0 && unitKind(bytes[i + kLengthBytes]) && visit(at + i)) return true;
            }
        }
        return false;
    }

    /** The complete picture that begins at `at`. */
    std::optional<Picture> pictureAt(std::uint64_t at) const {
        std::optional<Picture> picture;
        std::uint64_t end = at;
        for (;;) {
            const auto unit = unitAt(end);
            if (!unit) break;
            if (unit->kind == UnitKind::slice || unit->kind == UnitKind::keySlice) {
                const auto slice = readSliceHead(unit->head, set_);
                const bool isKey = unit->kind == UnitKind::keySlice;
                // Reordered pictures (B frames) need times that only the index had.
                if (!slice || slice->kind % kDistinctSliceKinds == kBidirectional) break;
                if (!picture) {
                    if (slice->firstBlock != 0 || (isKey && slice->frameNumber != 0)) break;
                    picture = {{at, 0, isKey}, slice->frameNumber, isReference(unit->head[0])};
                } else if (slice->firstBlock == 0 || slice->frameNumber != picture->frameNumber ||
                           isKey != picture->found.isKey) {
                    break;
                }
            } else if ((picture && unit->kind != UnitKind::filler) ||
                       (unit->kind == UnitKind::sequenceSet &&
                        read(unit->begin, unit->bytes) != sequenceSet_)) {
                break;
            }
            end = unit->end();
        }
        if (picture) picture->found.bytes = end - at;
        return picture;
    }

    /** Appends a picture to the longest chain that it may follow. */
    void link(const Picture& picture) {
        endChains(picture.found.offset);
        const std::uint32_t previous = picture.found.isKey ? longest_ : chains_[picture.frameNumber];
        if (!picture.found.isKey && !isNext(picture, previous)) return;
        if (!isCoded(picture)) return;
        Link link{picture.found, numberAfter(picture), previous, 1, picture.found.bytes};
        if (previous != kNone) {
            link.count += links_[previous].count;
            link.bytes += links_[previous].bytes;
        }
        links_.push_back(link);
        open_.emplace(link.end(), static_cast<std::uint32_t>(links_.size() - 1));
    }

    /** Behind a hole a chain continues with a key frame only: other pictures refer to lost ones. */
    bool isNext(const Picture& picture, std::uint32_t previous) const {
        if (previous == kNone) return false;
        const std::uint64_t end = links_[previous].end();
        return picture.found.offset - end <= kMaxGap && holeEnd_ <= end;
    }

    /** Makes the chains that end at or before `place` available to a picture there. */
    void endChains(std::uint64_t place) {
        for (; !open_.empty() && open_.top().first <= place; open_.pop()) {
            const std::uint32_t ended = open_.top().second;
            const Link& link = links_[ended];
            if (longest_ == kNone || link.isBetterThan(links_[longest_])) longest_ = ended;
            std::uint32_t& chain = chains_[link.nextNumber];
            if (chain == kNone || place - links_[chain].end() > kMaxGap || link.isBetterThan(links_[chain]))
                chain = ended;
        }
    }

    std::vector<FoundPicture> longestChain() {
        endChains(file_.size());
        std::vector<FoundPicture> pictures;
        for (std::uint32_t at = longest_; at != kNone; at = links_[at].previous)
            pictures.push_back(links_[at].found);
        std::ranges::reverse(pictures);
        return pictures;
    }

    /** The frame number of the next picture, unless that is a key frame (7.4.3). */
    std::uint32_t numberAfter(const Picture& picture) const {
        return (picture.frameNumber + (picture.isReference ? 1 : 0)) % (1U << set_.frameNumberBits);
    }

    /** Whether a picture contains none of the byte sequences that NAL units exclude (7.4.1); audio may. */
    bool isCoded(const Picture& picture) const {
        const Bytes bytes = read(picture.found.offset, picture.found.bytes);
        for (std::size_t begin = kLengthBytes; begin < bytes.size();) {
            const std::size_t end = std::min<std::size_t>(
                bytes.size(), begin + bigEndian(bytes, begin - kLengthBytes, kLengthBytes));
            for (std::size_t i = begin; i + 2 < end; ++i)
                if (bytes[i] == 0 && bytes[i + 1] == 0 && bytes[i + 2] < 3) return false;
            if (bytes[end - 1] == 0) return false;
            begin = end + kLengthBytes;
        }
        return true;
    }

    const FileBytes& file_;
    const std::uint64_t begin_;
    mutable std::uint64_t read_ = 0;    /**< bytes */
    mutable std::uint64_t zeroes_ = 0;  /**< consecutive ones up to the current place */
    mutable std::uint64_t holeEnd_ = 0; /**< end of the last hole */
    std::uint64_t first_ = 0;           /**< where the first parameter sets are */
    std::uint64_t maxUnit_ = kMaxParameterSet;
    SequenceSet set_;
    Bytes sequenceSet_;
    Bytes pictureSet_;
    std::vector<Link> links_;           /**< sorted by offset */
    std::vector<std::uint32_t> chains_; /**< by frame number: longest chain that it may continue */
    std::uint32_t longest_ = kNone;     /**< of the ended chains */
    using End = std::pair<std::uint64_t, std::uint32_t>;
    std::priority_queue<End, std::vector<End>, std::greater<>> open_; /**< pictures, first by their ends */
};

/** Media data whose size was never written. */
struct OpenData {
    /** Of the header, or of the empty box in front of it that reserves room for a longer one. */
    std::uint64_t begin;
    std::uint64_t contents;
};

std::optional<OpenData> findData(const FileBytes& file) {
    constexpr std::uint64_t kShort = 8;
    constexpr std::uint64_t kLong = 16;
    bool hasRoom = false;
    for (std::uint64_t at = 0;;) {
        const Bytes bytes = file.read(at, kShort);
        if (bytes.size() < kShort) return std::nullopt;
        if (std::equal(bytes.begin() + kLengthBytes, bytes.end(), "mdat")) {
            const bool isLong = bigEndian(bytes, 0, kLengthBytes) == 1;
            if (hasRoom && !isLong) return OpenData{at - kShort, at + kShort};
            return OpenData{at, at + (isLong ? kLong : kShort)};
        }
        const auto box = boxAt(file, at);
        if (!box) return std::nullopt;
        hasRoom = box->kind == "free" && box->end == kShort;
        at += box->end;
    }
}

}  // namespace

std::optional<RebuiltIndex> rebuildIndex(const FileBytes& file) {
    const auto data = findData(file);
    if (!data) return std::nullopt;
    auto rebuilt = PictureSearch(file, data->contents).run();
    if (!rebuilt) return std::nullopt;
    rebuilt->dataAt = data->begin;
    rebuilt->dataHeader = dataHeader(data->contents - data->begin, file.size() - data->begin);
    if (rebuilt->dataHeader.empty()) return std::nullopt;
    return rebuilt;
}

}  // namespace recordings
