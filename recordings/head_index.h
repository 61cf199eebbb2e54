#ifndef RECORDINGS_HEAD_INDEX_H
#define RECORDINGS_HEAD_INDEX_H

#include <functional>
#include <map>
#include <optional>

#include "recordings/file_layer.h"
#include "recordings/mp4_fragment.h"

namespace recordings {

/**
 * What the header of a fragmented recording tells of the whole file: its length (`mehd`, ISO/IEC 14496-12,
 * 8.8.2) and where its parts begin (`sidx`, 8.16.3, one box for each track). Without them some players show
 * only the length that they have read so far, and others read the whole file before they show anything. Both
 * are known when the file is closed; until then their places are `free` boxes.
 *
 * A part is a fragment that begins with a key sample, with the fragments up to the next part. Where there are
 * more of them than places, each reference leads to several parts.
 */
class HeadIndex {
  public:
    using Sync = std::function<bool(std::string& reason)>;

    /** The place of the length. */
    static Bytes lengthPlace();
    /** Moves it from the end of `header`, behind the `moov` box, into that. False, and nothing has changed,
     * when the header expects no fragments. */
    static bool moveLengthPlace(Bytes& header);
    /** The place of the references, for the end of a header that ends where a fragment may begin: it is whole
     * sectors. The first fragment follows at once, as players do not use an index that anything separates
     * from what it describes. */
    static Bytes referencePlace();

    /** Finds the places in a file that begins with `head`. */
    explicit HeadIndex(ByteSpan head);

    /** The tracks that fragments are read with; nothing when the header is damaged. */
    const std::optional<Mp4Index>& tracks() const { return index_; }
    /** Takes the next fragment of the file. */
    void add(std::uint64_t offset, const Mp4Fragment& fragment);

    /**
     * Fills the places that there are, for a file whose fragments end at `end`. What is written is synced by
     * `sync` before it becomes visible, so that a power cut leaves either all of it or `free` boxes. The last
     * writes are left to be synced. False, with `reason` filled, when that or a write has failed.
     */
    bool write(FileLayer::File& file, std::uint64_t end, const Sync& sync, std::string& reason) const;

  private:
    /** A box of the header, from its beginning in the file. */
    struct Place {
        std::uint64_t begin = 0;
        std::uint64_t end = 0;
        bool isFilled = false;
    };
    struct Reference {
        std::uint64_t offset;
        bool isKey;                                  /**< begins with a key sample */
        std::map<std::uint32_t, std::int64_t> times; /**< when each track goes on, in its units */
    };
    /** A track's presentation so far, in its units. */
    struct TrackTimes {
        std::int64_t begin = 0;
        std::int64_t end = 0;
        std::uint64_t next = 0; /**< where a run begins that does not say so */
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
    std::uint32_t leading_ = 0; /**< the track whose key samples begin a part */
    std::map<std::uint32_t, TrackTimes> times_;
    std::vector<Reference> references_;
    std::size_t stride_ = 1;  /**< one of so many parts has a reference */
    std::size_t offered_ = 0; /**< parts */
    bool isRegular_ = true;   /**< no time has gone back or beyond reason */
};

}  // namespace recordings

#endif
