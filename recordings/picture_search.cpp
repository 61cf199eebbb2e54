#include <algorithm>
#include <cstring>

#include "recordings/mp4_boxes.h"
#include "recordings/mp4_header.h"
#include "recordings/plain_index.h"

namespace recordings {
namespace {

constexpr std::uint64_t kLengthBytes = 4;
/** No encoder makes a larger unit. */
constexpr std::uint64_t kMaxUnit = 1 << 24;
constexpr std::uint64_t kMaxParameterSet = 1024;
/** Where the first parameter sets are at the latest: behind the sound of the first seconds. */
constexpr std::uint64_t kMaxBeginning = 1 << 20;
/** Within so many bytes behind a picture comes the next: the sound of four seconds at 128 kbit/s. */
constexpr std::uint64_t kFollowing = 64 << 10;
/** Read at a time: more than the sound between two pictures mostly is, and not much more. */
constexpr std::uint64_t kWindow = 4 << 10;
/** How often a byte may be searched: bytes that lie could have the same ones searched over and over. A
 * picture of 300 bytes has its surroundings searched twice. */
constexpr std::uint64_t kMaxReads = 32;
/** Pictures of a day at 60 in a second, and for 32 bits of their count more than enough. */
constexpr std::size_t kMostPictures = 6'000'000;

/** Kinds of slices, each of which has two numbers. */
constexpr std::uint32_t kSliceKinds = 5;
constexpr std::uint32_t kBidirectional = 1;

struct Unit {
    std::uint64_t begin; /**< behind its length */
    std::uint64_t bytes;
    UnitKind kind;
    Bytes head; /**< its first bytes */
    std::uint64_t end() const { return begin + bytes; }
};

struct Picture {
    FoundPicture found;
    std::uint32_t frameNumber;
    std::uint64_t end() const { return found.offset + found.bytes; }
};

/** A hole in a file may be long. */
bool isEmpty(ByteSpan bytes) {
    return bytes.empty() ||
           (bytes[0] == 0 && std::memcmp(bytes.data(), bytes.data() + 1, bytes.size() - 1) == 0);
}

/** Finds pictures between which there is sound, whose packets have no beginning that could be told. */
class PictureSearch {
  public:
    PictureSearch(const FileBytes& file, std::uint64_t begin) : file_(file), begin_(begin) {}

    std::optional<RebuiltIndex> run() {
        if (!findParameterSets()) return std::nullopt;
        std::vector<FoundPicture> pictures;
        std::optional<std::uint32_t> last;
        bool hasOther = first_ > begin_;
        for (std::uint64_t at = first_; pictures.size() < kMostPictures;) {
            auto picture = pictureAt(at, last);
            if (!picture) {
                picture = searchFrom(at, file_.size(), last, true);
                hasOther = hasOther || (picture && picture->found.offset > at);
            }
            if (!picture) break;
            pictures.push_back(picture->found);
            last = picture->frameNumber;
            at = picture->end();
        }
        if (pictures.empty()) return std::nullopt;
        RebuiltIndex rebuilt;
        rebuilt.index = plainIndex(set_, sequenceSet_, pictureSet_, pictures);
        rebuilt.pictures = pictures.size();
        rebuilt.rate = static_cast<double>(set_.timescale) / set_.duration;
        rebuilt.hasOther = hasOther;
        return rebuilt;
    }

  private:
    std::optional<Unit> unitAt(std::uint64_t at) const {
        const Bytes bytes = file_.read(at, kLengthBytes + kSliceHeadBytes);
        if (bytes.size() <= kLengthBytes) return std::nullopt;
        const std::uint64_t length = bigEndian(bytes, 0, kLengthBytes);
        const auto kind = unitKind(bytes[kLengthBytes]);
        const std::uint64_t begin = at + kLengthBytes;
        if (!kind || length < 2 || length > kMaxUnit || length > file_.size() - begin) return std::nullopt;
        const std::size_t known = std::min<std::uint64_t>(length, bytes.size() - kLengthBytes);
        const auto head = bytes.begin() + kLengthBytes;
        return Unit{begin, length, *kind, Bytes(head, head + static_cast<std::ptrdiff_t>(known))};
    }

    /** The first sequence parameter set with the picture parameter set that follows it. */
    bool findParameterSets() {
        const std::uint64_t end = std::min(file_.size(), begin_ + kMaxBeginning);
        return forEachCandidate(begin_, end, [this](std::uint64_t at) {
            const auto sequence = unitAt(at);
            if (!sequence || sequence->kind != UnitKind::sequenceSet || sequence->bytes > kMaxParameterSet)
                return false;
            const auto picture = unitAt(sequence->end());
            if (!picture || picture->kind != UnitKind::pictureSet || picture->bytes > kMaxParameterSet)
                return false;
            sequenceSet_ = file_.read(sequence->begin, sequence->bytes);
            pictureSet_ = file_.read(picture->begin, picture->bytes);
            const auto set = readSequenceSet(sequenceSet_);
            if (!set || set->timescale == 0) return false;
            set_ = *set;
            first_ = at;
            return true;
        });
    }

    /** Calls `visit` for each place where a unit might begin, until it is true; whether it was. */
    template <class Visit>
    bool forEachCandidate(std::uint64_t begin, std::uint64_t end, Visit&& visit) const {
        for (std::uint64_t at = begin; at < end; at += kWindow) {
            if (searched_ > kMaxReads * file_.size()) return false;
            const Bytes bytes = file_.read(at, std::min(kWindow, end - at) + kLengthBytes);
            searched_ += bytes.size();
            if (isEmpty(bytes)) continue;
            for (std::size_t i = 0; i + kLengthBytes < bytes.size(); ++i)
                if (bytes[i] == 0 && unitKind(bytes[i + kLengthBytes]) && visit(at + i)) return true;
        }
        return false;
    }

    /** The whole picture that begins at `at`, as the one after that with the frame number `last`. */
    std::optional<Picture> pictureAt(std::uint64_t at, std::optional<std::uint32_t> last) const {
        std::optional<Picture> picture;
        std::uint64_t end = at;
        for (;;) {
            const auto unit = unitAt(end);
            if (!unit) break;
            if (unit->kind == UnitKind::slice || unit->kind == UnitKind::keySlice) {
                const auto slice = readSliceHead(unit->head, set_);
                const bool isKey = unit->kind == UnitKind::keySlice;
                // Pictures that are shown before others need times that only the index had.
                if (!slice || slice->kind % kSliceKinds == kBidirectional) break;
                if (!picture) {
                    if (slice->firstBlock != 0 || !follows(slice->frameNumber, isKey, last)) break;
                    picture = {{at, 0, isKey}, slice->frameNumber};
                } else if (slice->firstBlock == 0 || slice->frameNumber != picture->frameNumber ||
                           isKey != picture->found.isKey) {
                    break;
                }
            } else if ((picture && unit->kind != UnitKind::filler) ||
                       (unit->kind == UnitKind::sequenceSet &&
                        file_.read(unit->begin, unit->bytes) != sequenceSet_)) {
                break;
            }
            end = unit->end();
        }
        if (picture) picture->found.bytes = end - at;
        return picture;
    }

    /** Behind a hole pictures go on with a key frame. */
    bool follows(std::uint32_t number, bool isKey, std::optional<std::uint32_t> last) const {
        if (isKey) return number == 0;
        return last && (number == *last || number == (*last + 1) % (1U << set_.frameNumberBits));
    }

    /** The next picture. Sound may look like one by chance, but not with another one behind it. */
    std::optional<Picture> searchFrom(std::uint64_t begin, std::uint64_t end,
                                      std::optional<std::uint32_t> last, bool needsNext) const {
        std::optional<Picture> picture;
        forEachCandidate(begin, end, [&](std::uint64_t at) {
            picture = pictureAt(at, last);
            if (picture && needsNext && !hasNext(*picture)) picture.reset();
            return picture.has_value();
        });
        return picture;
    }

    bool hasNext(const Picture& picture) const {
        const std::uint64_t end = std::min(file_.size(), picture.end() + kFollowing);
        return end == file_.size() || searchFrom(picture.end(), end, picture.frameNumber, false);
    }

    const FileBytes& file_;
    const std::uint64_t begin_;
    mutable std::uint64_t searched_ = 0; /**< bytes */
    std::uint64_t first_ = 0;            /**< where the first parameter sets are */
    SequenceSet set_;
    Bytes sequenceSet_;
    Bytes pictureSet_;
};

/** Data that were never finished. */
struct OpenData {
    std::uint64_t
        begin; /**< of their header, or of the empty box before it that is to make room for a longer one */
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
