#include <algorithm>
#include <array>
#include <cstdio>
#include <limits>

#include "recordings/container_checks.h"
#include "recordings/mp4_fragment.h"
#include "recordings/mp4_header.h"
#include "recordings/plain_index.h"
#include "recordings/sample_check.h"

namespace recordings {

namespace {

using State = RecordingCheck::State;
using Kind = Damage::Kind;

/** Bytes; larger descriptions count as damaged. That of half a second takes less than 2 KiB. */
constexpr std::uint64_t kMaxFragmentHeader = 1 << 20;
/** Bytes; larger indexes count as damaged. That of a day of half-second fragments takes a tenth. */
constexpr std::uint64_t kMaxFragmentIndex = 64 << 20;
/** Seconds by which a fragment may start before the previous one ends: audio and video ends differ. */
constexpr double kOverlap = 0.5;
constexpr std::uint64_t kHeaderSize = 8;
/** Bytes read per byte of the file, on average, before the check gives up. */
constexpr std::uint64_t kMaxReadsByCheck = 8;
/** Boxes of up to this size are skipped without checking that another box follows. */
constexpr std::uint64_t kSmallBox = 16;

constexpr std::array<std::string_view, 14> kTopLevelKinds = {"moof", "mdat", "free", "mfra", "moov",
                                                             "ftyp", "skip", "styp", "sidx", "emsg",
                                                             "uuid", "udta", "meta", "wide"};

/** A readable fragment, and where it ends. */
struct FoundFragment {
    FoundFragment() = default;
    FoundFragment(FoundFragment&&) = default;  // no copies: `fragment` refers to `contents`

    Mp4Fragment fragment;
    Bytes contents;         /**< of its description; `fragment` refers to them */
    std::uint64_t data = 0; /**< where the box with its samples begins */
    std::uint64_t end = 0;
    bool hasDataHeader = false; /**< that box has a valid header */
};

class Mp4Checker {
  public:
    explicit Mp4Checker(const FileBytes& file) : file_(file) {}

    RecordingCheck check() {
        takeHeader();
        while (at_ < file_.size()) {
            if (!takeBox() && !skipDamage()) break;
        }
        if (!fragments_.empty()) return playable(last_ - first_);
        const bool listed = index_ && std::ranges::any_of(index_->tracks, [](const auto& track) {
                                return track.second.samples > 0;
                            });
        if (listed && hasData_ && damages_.empty()) return playable(index_->seconds);
        if (!index_ && hasData_) return withoutIndex();
        if (!index_ && isFragmented_) return unplayable("the header is damaged and has no copy");
        return unplayable("no complete picture");
    }

  private:
    static RecordingCheck unplayable(const char* reason) { return {State::unplayable, 0, 0, reason, {}, {}}; }
    RecordingCheck playable(double seconds) {
        const State state = damages_.empty() ? State::whole : State::damaged;
        return {state, end_ ? end_ : file_.size(), seconds, {}, std::move(damages_), std::move(repairs_)};
    }

    /** For a file whose index, the last box, is missing. */
    RecordingCheck withoutIndex() {
        const auto rebuilt = isFragmented_ ? std::nullopt : rebuildIndex(file_);
        if (!rebuilt) return unplayable("a plain MP4 without its index cannot be recovered");
        damages_.clear();
        repairs_ = {{file_.size(), rebuilt->index},
                    {.offset = rebuilt->dataAt, .bytes = rebuilt->dataHeader, .isLast = true}};
        RecordingCheck check = playable(static_cast<double>(rebuilt->pictures) / rebuilt->rate);
        check.state = State::damaged;
        std::array<char, 128> text{};
        std::snprintf(text.data(), text.size(), "%llu pictures at %g per second%s",
                      static_cast<unsigned long long>(rebuilt->pictures), rebuilt->rate,
                      rebuilt->hasOther ? "; the sound is lost: only the index located its packets" : "");
        check.rebuilt = text.data();
        return check;
    }

    void takeHeader() {
        auto header = findHeader(file_);
        if (!header) return;
        index_ = std::move(header->index);
        mark_ = std::move(header->mark);
        if (header->begin == 0) return;
        // Only fragmented recordings have a copy: fragments follow the damaged header.
        at_ = header->end - header->begin;
        repairs_.push_back({0, file_.read(header->begin, at_)});
        damages_.push_back({Kind::header, 0, at_});
    }

    /** Skips the next box; false when it is damaged. */
    bool takeBox() {
        const auto box = boxAt(file_, at_);
        hasData_ = hasData_ || isData();
        if (!box) return false;
        if (box->kind == "moof") return takeFragment();
        if (box->kind == "moov" && !index_) return false;
        if (box->kind == "mfra" && !isValidIndex(*box)) return false;
        const std::uint64_t next = at_ + box->end;
        // A wrong size would skip everything that follows; that of an index has been verified.
        if (box->kind != "moov" && box->end > kSmallBox && next < file_.size() && !beginsBox(next))
            return false;
        if (box->kind == "mdat" && isFragmented_) damages_.push_back({Kind::fragment, at_, next});
        at_ = next;
        return true;
    }

    /** Whether an index of fragments refers to readable fragments only. */
    bool isValidIndex(const BoxHeader& box) const {
        if (box.end > kMaxFragmentIndex) return false;
        bool good = true;
        const Bytes contents = file_.read(at_ + box.contents, box.end - box.contents);
        const bool fills = forEachBox(contents, [&](std::string_view kind, ByteSpan table) {
            good = good && (kind != "tfra" || forEachEntry(table, [this](std::uint64_t fragment) {
                                return std::ranges::binary_search(fragments_, fragment);
                            }));
        });
        return fills && good;
    }

    bool isData() const {
        const Bytes bytes = file_.read(at_, kHeaderSize);
        return bytes.size() == kHeaderSize && std::equal(bytes.begin() + 4, bytes.end(), "mdat");
    }
    bool beginsBox(std::uint64_t at) const {
        const auto box = boxAt(file_, at);
        return box && std::ranges::find(kTopLevelKinds, std::string_view(box->kind)) != kTopLevelKinds.end();
    }

    std::optional<FoundFragment> fragmentAt(std::uint64_t at) {
        const auto box = boxAt(file_, at);
        if (!index_ || !box || box->kind != "moof" || box->end > kMaxFragmentHeader || !mayRead(box->end))
            return std::nullopt;
        FoundFragment found;
        found.contents = file_.read(at + box->contents, box->end - box->contents);
        Mp4Fragment& fragment = found.fragment;
        found.data = at + box->end;
        if (!readFragment(found.contents, at, file_.size(), *index_, fragment) || fragment.hasEmptySample ||
            fragment.dataBegin < found.data + kHeaderSize)
            return std::nullopt;
        const auto data = boxAt(file_, found.data);
        found.end = data ? found.data + data->end : 0;
        found.hasDataHeader = data && data->kind == "mdat" && found.end >= fragment.dataEnd &&
                              (found.end == fragment.dataEnd || found.end == file_.size() ||
                               beginsBox(found.end) || !beginsBox(fragment.dataEnd));
        if (found.hasDataHeader) return found;
        // The samples determine where their box begins and ends.
        found.end = fragment.dataEnd;
        if (fragment.dataBegin != found.data + kHeaderSize) return std::nullopt;
        return found;
    }

    bool takeFragment() {
        isFragmented_ = true;
        const auto found = fragmentAt(at_);
        if (!found) return false;
        if (!found->hasDataHeader) {
            repairs_.push_back({found->data, boxHeader("mdat", found->end - found->data)});
            damages_.push_back({Kind::samples, found->data, found->data + kHeaderSize, 0});
        }
        if (!takeSamples(*found)) return false;
        for (const Mp4Run& run : found->fragment.runs) {
            first_ = std::min(first_, beginOf(run));
            last_ = std::max(last_, beginOf(run) + seconds(run, run.length));
        }
        fragments_.push_back(at_);
        at_ = found->end;
        return true;
    }

    double seconds(const Mp4Run& run, std::uint64_t units) const {
        return static_cast<double>(units) / index_->tracks.at(run.track).timescale;
    }
    double beginOf(const Mp4Run& run) const { return seconds(run, run.begin.value_or(0)); }

    bool takeSamples(const FoundFragment& found) {
        return forEachSample(found.fragment, [this](const Mp4Sample& sample) {
            if (!mayRead(sample.size)) return false;
            if (isWhole(sample)) return true;
            const std::uint64_t end = sample.offset + sample.size;
            const bool continues = !damages_.empty() && damages_.back().kind == Kind::samples &&
                                   damages_.back().end == sample.offset;
            if (!continues) damages_.push_back({Kind::samples, sample.offset, end, 0});
            damages_.back().end = end;
            ++damages_.back().packets;
            return true;
        });
    }

    /** Limits the check: a damaged file could otherwise make it read the same bytes over and over. */
    bool mayRead(std::uint64_t bytes) {
        bytesRead_ += bytes;
        return bytesRead_ <= kMaxReadsByCheck * file_.size();
    }

    bool isWhole(const Mp4Sample& sample) const {
        return sample.size <= kMaxSampleSize &&
               isWholeSample(index_->tracks.at(sample.track), file_.read(sample.offset, sample.size));
    }

    /** Whether a fragment found by search belongs to this recording, and not to the remains of a deleted one
     * in the same disk blocks. Without a mark in the file, the fragment must be undamaged and later. */
    bool isOwn(const FoundFragment& found) {
        if (mark_) return markAt(file_, found.end) == mark_;
        return std::ranges::all_of(found.fragment.runs,
                                   [this](const Mp4Run& run) { return beginOf(run) + kOverlap >= last_; }) &&
               forEachSample(found.fragment, [this](const Mp4Sample& sample) {
                   return mayRead(sample.size) && isWhole(sample);
               });
    }

    /** Calls `visit` until it returns false; returns whether it never did. */
    template <class Visit>
    static bool forEachSample(const Mp4Fragment& fragment, Visit&& visit) {
        Mp4Sample sample;
        for (const Mp4Run& run : fragment.runs) {
            for (Mp4RunSamples samples(run); samples.next(sample);)
                if (!visit(sample)) return false;
        }
        return true;
    }

    /** Continues at the next readable fragment and makes players skip what is in front of it, or the rest of
     * the file when there is none. */
    bool skipDamage() {
        std::uint64_t next = file_.size();
        forEachPlaceOf(file_, "moof", at_ + kHeaderSize, [&](std::uint64_t offset) {
            const auto fragment = fragmentAt(offset);
            if (!fragment || !isOwn(*fragment)) return false;
            next = offset;
            return true;
        });
        const bool found = next < file_.size();
        if (fragments_.empty() && !found) return false;
        damages_.push_back({found ? Kind::fragment : Kind::end, at_, next});
        // Too short for the header of a box that players skip: truncate.
        if (next - at_ < kHeaderSize) end_ = at_;
        if (next - at_ >= kHeaderSize) repairs_.push_back({at_, boxHeader("free", next - at_)});
        at_ = next;
        return true;
    }

    const FileBytes& file_;
    std::uint64_t at_ = 0;
    std::uint64_t end_ = 0; /**< where to truncate the file; 0: not */
    std::uint64_t bytesRead_ = 0;
    bool hasData_ = false;
    bool isFragmented_ = false;
    std::optional<Mp4Index> index_;
    std::optional<Bytes> mark_;
    std::vector<std::uint64_t> fragments_; /**< where they begin */
    double first_ = std::numeric_limits<double>::max();
    double last_ = 0;
    std::vector<Damage> damages_;
    std::vector<Repair> repairs_;
};

}  // namespace

bool isMp4(const FileBytes& file) {
    const Bytes bytes = file.read(0, kHeaderSize);
    const bool begins = bytes.size() == kHeaderSize && std::equal(bytes.begin() + 4, bytes.end(), "ftyp");
    return begins || findHeader(file);
}

RecordingCheck checkMp4(const FileBytes& file) {
    return Mp4Checker(file).check();
}

}  // namespace recordings
