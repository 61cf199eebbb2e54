#include "recordings/mp4_index.h"

#include <algorithm>
#include <array>

#include "recordings/mp4_boxes.h"

namespace recordings {

namespace {

/** No recording has as many; limits the memory for a damaged index. */
constexpr std::size_t kMaxTracks = 1024;

/** Time scale and duration in `mvhd` and `mdhd`, which both have them behind two times. */
struct Timing {
    std::uint32_t timescale;
    std::uint64_t duration;
};

Timing readTiming(ByteSpan contents) {
    Numbers numbers(contents);
    const bool isLong = numbers.next32() >> 24 == 1;
    numbers.skip(isLong ? 16 : 8);
    const std::uint32_t timescale = numbers.next32();
    const std::uint64_t duration = numbers.next(isLong ? 8 : 4);
    return numbers.failed() ? Timing{} : Timing{timescale, duration};
}

bool isPicture(std::string_view codec) {
    return codec == "avc1" || codec == "hvc1" || codec == "hev1";
}

/** Whether an `avcC` box has a sequence and a picture parameter set: no decoder starts without them. */
bool hasParameterSets(ByteSpan contents) {
    constexpr std::uint8_t kSequence = 7;
    constexpr std::uint8_t kPicture = 8;
    Numbers numbers(contents);
    if (numbers.next(1) != 1) return false;
    numbers.skip(4);
    for (const std::uint8_t kind : {kSequence, kPicture}) {
        const std::uint64_t count = numbers.next(1) & (kind == kSequence ? 0x1fU : 0xffU);
        if (count == 0) return false;
        for (std::uint64_t i = 0; i < count && !numbers.failed(); ++i) {
            const std::size_t size = numbers.next(2);
            const ByteSpan unit = numbers.rest();
            if (unit.empty() || size == 0 || (unit[0] & 0x9f) != kind) return false;
            numbers.skip(size);
        }
    }
    return !numbers.failed();
}

void readPictureEntry(ByteSpan entry, Mp4Track& track) {
    constexpr std::size_t kFields = 78;
    constexpr std::size_t kSize = 24;
    if (entry.size() < kFields || bigEndian(entry, kSize, 2) == 0 || bigEndian(entry, kSize + 2, 2) == 0)
        return;
    track.width = static_cast<int>(bigEndian(entry, kSize, 2));
    track.height = static_cast<int>(bigEndian(entry, kSize + 2, 2));
    forEachBox(entry.subspan(kFields), [&](std::string_view kind, ByteSpan settings) {
        const std::size_t at = kind == "avcC" ? 4 : kind == "hvcC" ? 21 : settings.size();
        if (at >= settings.size()) return;
        track.lengthBytes = (settings[at] & 3U) + 1;
        track.settings.assign(settings.begin(), settings.end());
        track.configured = kind == "hvcC" || hasParameterSets(settings);
    });
}

/** Enters the contents of a descriptor; returns their length, or 0 when it is of another kind or too long. */
std::size_t enterDescriptor(Numbers& numbers, std::uint64_t kind) {
    constexpr std::size_t kMaxLengthSize = 4;
    if (numbers.next(1) != kind) return 0;
    std::size_t length = 0;
    for (std::size_t i = 0; i < kMaxLengthSize; ++i) {
        const std::uint64_t part = numbers.next(1);
        length = length << 7 | (part & 0x7f);
        if (!(part & 0x80)) break;
    }
    return !numbers.failed() && length <= numbers.rest().size() ? length : 0;
}

/** Reads the decoder configuration from an `esds` box; false when it is not in the descriptors in which it
 * belongs. */
bool readSoundSettings(ByteSpan contents, Mp4Track& track) {
    constexpr std::uint64_t kStream = 3;
    constexpr std::uint64_t kDecoder = 4;
    constexpr std::uint64_t kSettings = 5;
    constexpr std::size_t kDecoderFields = 12;
    Numbers numbers(contents);
    numbers.skip(kFullBoxHeader);
    if (!enterDescriptor(numbers, kStream)) return false;
    numbers.skip(2);
    const std::uint64_t flags = numbers.next(1);
    if (flags & 0x80) numbers.skip(2);
    if (flags & 0x40) numbers.skip(numbers.next(1));
    if (flags & 0x20) numbers.skip(2);
    if (!enterDescriptor(numbers, kDecoder)) return false;
    const std::uint64_t coding = numbers.next(1);
    const bool isAac = coding == 0x40 || (coding >= 0x66 && coding <= 0x68);
    const bool isMp3 = coding == 0x69 || coding == 0x6b;
    if (!isAac) return isMp3 && !numbers.failed();
    numbers.skip(kDecoderFields);
    const std::size_t length = enterDescriptor(numbers, kSettings);
    if (length == 0) return false;
    track.settings.assign(numbers.rest().begin(),
                          numbers.rest().begin() + static_cast<std::ptrdiff_t>(length));
    // AudioSpecificConfig: object type (5 bits), rate index (4, of which 13 and 14 are reserved), channels
    // (4).
    const std::uint64_t config = numbers.next(2);
    const std::uint64_t rate = config >> 7 & 0xf;
    const std::uint64_t channels = config >> 3 & 0xf;
    // The sample entry states two channels regardless of the actual number.
    if (channels > 0) track.channels = channels == 7 ? 8 : static_cast<int>(channels);
    return !numbers.failed() && config >> 11 != 0 && rate != 13 && rate != 14 && channels <= 7;
}

void readSoundEntry(ByteSpan entry, Mp4Track& track) {
    constexpr std::size_t kFields = 28;
    constexpr std::size_t kChannels = 16;
    constexpr std::size_t kRate = 24;  // 16.16 fixed point: whole hertz in the first two bytes
    if (entry.size() < kFields) return;
    track.channels = static_cast<int>(bigEndian(entry, kChannels, 2));
    track.sampleRate = static_cast<int>(bigEndian(entry, kRate, 2));
    forEachBox(entry.subspan(kFields), [&](std::string_view kind, ByteSpan settings) {
        if (kind == "esds") track.configured = readSoundSettings(settings, track);
    });
}

void readSampleEntry(ByteSpan contents, Mp4Track& track) {
    constexpr std::size_t kEntries = kFullBoxHeader + 4;
    if (contents.size() < kEntries) return;
    forEachBox(contents.subspan(kEntries), [&](std::string_view kind, ByteSpan entry) {
        track.codec = kind;
        if (isPicture(kind)) {
            readPictureEntry(entry, track);
        } else if (kind == "mp4a") {
            readSoundEntry(entry, track);
        } else {
            if (track.handler == "soun") readSoundEntry(entry, track);
            track.configured = true;
        }
    });
}

/** The contents of the first box of a kind; empty when missing. */
ByteSpan findBox(ByteSpan contents, std::string_view wanted) {
    ByteSpan found;
    forEachBox(contents, [&](std::string_view kind, ByteSpan box) {
        if (kind == wanted && found.empty()) found = box;
    });
    return found;
}

std::uint32_t readTrackNumber(ByteSpan header) {
    Numbers numbers(header);
    numbers.skip(numbers.next32() >> 24 == 1 ? 16 : 8);
    return numbers.next32();
}

std::vector<Mp4Edit> readEdits(ByteSpan contents) {
    Numbers numbers(contents);
    const std::size_t width = numbers.next32() >> 24 == 1 ? 8 : 4;
    const std::uint32_t count = numbers.next32();
    std::vector<Mp4Edit> edits;
    for (std::uint32_t i = 0; i < count && !numbers.failed(); ++i) {
        const std::uint64_t length = numbers.next(width);
        const std::uint64_t time = numbers.next(width);
        numbers.skip(4);
        const bool isNegative = time >> (8 * width - 1) != 0;
        if (!numbers.failed()) edits.push_back({length, isNegative ? -1 : static_cast<std::int64_t>(time)});
    }
    return edits;
}

/** The entries of a table; none when the box is too small for their count. */
Mp4Table readTable(ByteSpan index, ByteSpan box, std::uint64_t entryBytes) {
    constexpr std::size_t kHead = kFullBoxHeader + 4;
    if (box.size() < kHead) return {};
    const std::uint64_t count = bigEndian(box, kFullBoxHeader, 4);
    if (count > (box.size() - kHead) / entryBytes) return {};
    return {static_cast<std::uint64_t>(box.data() - index.data()) + kHead, count};
}

Mp4Tables readTables(ByteSpan index, ByteSpan boxes) {
    Mp4Tables tables;
    tables.durations = readTable(index, findBox(boxes, "stts"), 8);
    tables.shifts = readTable(index, findBox(boxes, "ctts"), 8);
    tables.chunks = readTable(index, findBox(boxes, "stsc"), 12);
    tables.offsets = readTable(index, findBox(boxes, "stco"), 4);
    if (tables.offsets.count == 0) {
        tables.offsetBytes = 8;
        tables.offsets = readTable(index, findBox(boxes, "co64"), 8);
    }
    const ByteSpan keys = findBox(boxes, "stss");
    if (!keys.empty()) tables.keys = readTable(index, keys, 4);
    const ByteSpan sizes = findBox(boxes, "stsz");
    if (sizes.size() < kFullBoxHeader + 4) return tables;
    tables.sampleSize = static_cast<std::uint32_t>(bigEndian(sizes, kFullBoxHeader, 4));
    // Its head has one more field: the common size.
    if (tables.sampleSize == 0) tables.sizes = readTable(index, sizes.subspan(4), 4);
    return tables;
}

Mp4Track readTrack(ByteSpan index, ByteSpan contents) {
    Mp4Track track;
    track.edits = readEdits(findBox(findBox(contents, "edts"), "elst"));
    const ByteSpan media = findBox(contents, "mdia");
    const Timing timing = readTiming(findBox(media, "mdhd"));
    track.timescale = timing.timescale;
    const ByteSpan handler = findBox(media, "hdlr");
    if (handler.size() >= 12) track.handler.assign(handler.begin() + 8, handler.begin() + 12);
    const ByteSpan tables = findBox(findBox(media, "minf"), "stbl");
    readSampleEntry(findBox(tables, "stsd"), track);
    const ByteSpan sizes = findBox(tables, "stsz");
    if (sizes.size() >= 12) track.samples = bigEndian(sizes, 8, 4);
    if (track.samples > 0) {
        track.length = timing.duration;
        track.tables = readTables(index, tables);
    }
    return track;
}

/** Reads the defaults of samples in fragments (`mvex`). False for boxes that do not belong there: a player
 * may interpret one, such as `mdhd`, as if it were elsewhere. */
bool readDefaults(ByteSpan contents, Mp4Index& index) {
    constexpr std::array<std::string_view, 6> kKinds = {"trex", "mehd", "leva", "trep", "free", "skip"};
    bool good = true;
    forEachBox(contents, [&](std::string_view kind, ByteSpan box) {
        good = good && std::ranges::find(kKinds, kind) != kKinds.end();
        Numbers numbers(box);
        if (kind != "trex" || index.tracks.size() > kMaxTracks) return;
        numbers.skip(kFullBoxHeader);
        Mp4Track& track = index.tracks[numbers.next32()];
        numbers.skip(4);
        track.sampleDuration = numbers.next32();
        track.sampleSize = numbers.next32();
        track.sampleFlags = numbers.next32();
        track.hasDefaults = !numbers.failed();
    });
    return good;
}

/** Whether a box has the size that its version requires: 0, or 1 with times of eight bytes. */
bool hasSize(ByteSpan contents, std::size_t size, std::size_t longSize) {
    const std::size_t version = contents.empty() ? 2 : contents[0];
    return (version == 0 && contents.size() == size) || (version == 1 && contents.size() == longSize);
}

/** Whether a table fills its box; `head`: bytes before its entries, the last four of them their count. */
bool fillsBox(ByteSpan contents, std::size_t head, std::uint64_t entryBytes) {
    return contents.size() >= head && contents[0] == 0 &&
           contents.size() == head + bigEndian(contents, head - 4, 4) * entryBytes;
}

/** Whether a box that lists boxes contains the stated number of them. */
bool listsBoxes(ByteSpan contents) {
    constexpr std::size_t kHead = kFullBoxHeader + 4;
    if (contents.size() < kHead || contents[0] != 0) return false;
    std::uint64_t count = 0;
    const bool fills = forEachBox(contents.subspan(kHead), [&](std::string_view, ByteSpan) { ++count; });
    return fills && count > 0 && count == bigEndian(contents, kFullBoxHeader, 4);
}

bool isTable(std::string_view kind, ByteSpan box) {
    if (kind == "stsd") return listsBoxes(box);
    if (kind == "stts" || kind == "co64" || kind == "ctts") return fillsBox(box, 8, 8);
    if (kind == "stsc") return fillsBox(box, 8, 12);
    if (kind == "stco" || kind == "stss") return fillsBox(box, 8, 4);
    if (kind == "stsz" && box.size() == 12 && bigEndian(box, kFullBoxHeader, 4) > 0)
        return bigEndian(box, 8, 4) > 0;  // samples of a common size, without a table
    if (kind == "stsz") return fillsBox(box, 12, 4) && bigEndian(box, kFullBoxHeader, 4) == 0;
    return true;
}

/** Whether the boxes of a track fill one another and their counts match: players reject the whole file
 * otherwise. */
bool isConsistent(ByteSpan track) {
    const ByteSpan media = findBox(track, "mdia");
    const ByteSpan information = findBox(media, "minf");
    const ByteSpan tables = findBox(information, "stbl");
    const auto skip = [](std::string_view, ByteSpan) {};
    bool good = true;
    const bool fills =
        forEachBox(tables, [&](std::string_view kind, ByteSpan box) { good = good && isTable(kind, box); });
    good =
        good && fills && forEachBox(track, skip) && forEachBox(media, skip) && forEachBox(information, skip);
    for (const std::string_view needed : {"stsd", "stts", "stsc", "stsz"})
        good = good && !findBox(tables, needed).empty();
    return good && hasSize(findBox(track, "tkhd"), 84, 96) && hasSize(findBox(media, "mdhd"), 24, 36) &&
           listsBoxes(findBox(findBox(information, "dinf"), "dref"));
}

/** The description of a track must be consistent, or players ignore it. */
bool isUsable(const Mp4Track& track) {
    const bool known = isPicture(track.codec) || track.codec == "mp4a";
    const bool fits = !known || track.handler == (isPicture(track.codec) ? "vide" : "soun");
    return track.timescale > 0 && track.configured && fits;
}

}  // namespace

std::optional<Mp4Index> readIndex(ByteSpan contents) {
    Mp4Index index;
    bool consistent = true;
    const bool fills = forEachBox(contents, [&](std::string_view kind, ByteSpan box) {
        if (kind == "mvhd") {
            consistent = consistent && hasSize(box, 100, 112);
            const Timing timing = readTiming(box);
            index.timescale = timing.timescale;
            if (timing.timescale) index.seconds = static_cast<double>(timing.duration) / timing.timescale;
        } else if (kind == "trak" && index.tracks.size() <= kMaxTracks) {
            consistent = consistent && isConsistent(box);
            Mp4Track track = readTrack(contents, box);
            Mp4Track& kept = index.tracks[readTrackNumber(findBox(box, "tkhd"))];
            track.hasDefaults = kept.hasDefaults;
            track.sampleDuration = kept.sampleDuration;
            track.sampleSize = kept.sampleSize;
            track.sampleFlags = kept.sampleFlags;
            kept = std::move(track);
        } else if (kind == "mvex") {
            consistent = readDefaults(box, index) && consistent;
        }
    });
    if (!fills || index.tracks.empty() || index.tracks.size() > kMaxTracks) return std::nullopt;
    index.usable = consistent && std::ranges::all_of(
                                     index.tracks, [](const auto& track) { return isUsable(track.second); });
    return index;
}

}  // namespace recordings
