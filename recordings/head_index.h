#ifndef RECORDINGS_HEAD_INDEX_H
#define RECORDINGS_HEAD_INDEX_H

#include <functional>
#include <map>
#include <optional>

#include "recordings/file_layer.h"
#include "recordings/mp4_fragment.h"

namespace recordings {

/**
 * The boxes in the header of a fragmented recording that describe the whole file: its length (`mehd`, ISO/IEC
 * 14496-12, 8.8.2) and where its parts begin (`sidx`, 8.16.3, one box per track). Without them some players
 * show only the length read so far, and others read the whole file before they show anything. Both are known
 * only when the file is closed; until then `free` boxes reserve their places.
 *
 * A part is a fragment that begins with a key sample, plus the fragments up to the next part. When there are
 * more parts than reserved references, each reference covers several parts.
 */
class HeadIndex {
  public:
    using Sync = std::function<bool(std::string& reason)>;

    /** The `free` box that reserves the place of the length. */
    static Bytes lengthPlace();
    /** Moves this box from the end of `header` into the `moov` box in front of it. False, with `header`
     * unchanged, when the header expects no fragments. */
    static bool moveLengthPlace(Bytes& header);
    /** The `free` box that reserves the place of the references: whole sectors, to be the last box of a
     * header that ends on a fragment boundary. The first fragment must follow directly: players ignore an
     * index that is separated from what it describes. */
    static Bytes referencePlace();

    /** Finds the reserved places in a file that begins with `head`. */
    explicit HeadIndex(ByteSpan head);

    /** The index for reading the fragments; nothing when the header is damaged, or has edits or samples. */
    const std::optional<Mp4Index>& tracks() const { return index_; }
    /** Adds the next fragment of the file. */
    void add(std::uint64_t offset, const Mp4Fragment& fragment);

    /**
     * Fills the reserved places of a file whose fragments end at `end`. `sync` syncs the contents before
     * their box headers make them visible, so that a power cut leaves either all of them or `free` boxes. The
     * caller must sync the last writes. False, with `reason` filled, when a write or a sync fails.
     */
    bool write(FileLayer::File& file, std::uint64_t end, const Sync& sync, std::string& reason) const;

  private:
    /** File offsets of a reserved place. */
    struct Place {
        std::uint64_t begin = 0;
        std::uint64_t end = 0;
        bool isFilled = false;
    };
    struct Reference {
        std::uint64_t offset;
        bool isKey;                                  /**< begins with a key sample */
        std::map<std::uint32_t, std::int64_t> times; /**< start of each track's samples, in its units */
    };
    /** A track's presentation so far, in its units. */
    struct TrackTimes {
        std::int64_t begin = 0;
        std::int64_t end = 0;
        std::uint64_t next = 0; /**< start of the next run if that states none */
    };
    struct Patch {
        std::uint64_t offset;
        Bytes bytes;
    };

    void findLength(std::uint64_t moov, ByteSpan contents);
    bool beginsWithKey(const Mp4Fragment& fragment) const;
    void addReference(std::uint64_t offset, bool isKey);
    std::size_t maxReferences() const;
    std::uint64_t lengthUnits() const;
    Bytes references(std::uint64_t end) const;
    bool addBox(std::uint32_t track, std::uint64_t end, std::uint64_t distance, Bytes& boxes) const;

    std::optional<Mp4Index> index_;
    std::optional<Place> length_;
    std::optional<Place> room_;
    std::uint32_t leading_ = 0; /**< the track whose key samples start a part */
    std::map<std::uint32_t, TrackTimes> times_;
    std::vector<Reference> references_;
    std::size_t stride_ = 1;  /**< every n-th part has a reference */
    std::size_t offered_ = 0; /**< parts seen */
    bool isRegular_ = true;   /**< all times were at most kMaxTime */
};

}  // namespace recordings

#endif
