#include "recordings/mp4_tables.h"

#include <algorithm>

namespace recordings {

namespace {

constexpr std::size_t kSpreadEntry = 8;
constexpr std::size_t kChunkEntry = 12;
constexpr std::size_t kNumber = 4;

}  // namespace

bool Mp4TableSamples::Spread::provide() {
    while (left_ == 0 && entry_ < table_.count) {
        const std::uint64_t at = table_.at + entry_++ * kSpreadEntry;
        left_ = bigEndian(index_, at, kNumber);
        value_ = static_cast<std::uint32_t>(bigEndian(index_, at + kNumber, kNumber));
    }
    return left_ > 0;
}

std::uint32_t Mp4TableSamples::Spread::next() {
    if (!provide()) return 0;
    --left_;
    return value_;
}

std::uint64_t Mp4TableSamples::Spread::skip(std::uint64_t samples) {
    std::uint64_t sum = 0;
    while (samples > 0 && provide()) {
        const std::uint64_t passed = std::min(samples, left_);
        sum += passed * value_;
        left_ -= passed;
        samples -= passed;
    }
    return sum;
}

std::uint64_t Mp4TableSamples::Spread::countWithin(std::uint64_t sum) {
    std::uint64_t samples = 0;
    while (provide()) {
        const std::uint64_t fitting = value_ ? std::min(left_, sum / value_) : left_;
        samples += fitting;
        sum -= fitting * value_;
        if (fitting < left_) break;
        left_ = 0;
    }
    return samples;
}

Mp4TableSamples::Mp4TableSamples(ByteSpan index, std::uint32_t number, const Mp4Track& track,
                                 std::uint64_t fileBytes)
    : index_(index),
      track_(number),
      tables_(track.tables),
      // Samples of a common size have no table to limit their number, but must be in the file.
      samples_(
          std::min(track.samples, tables_.sampleSize ? fileBytes / tables_.sampleSize : tables_.sizes.count)),
      fileBytes_(fileBytes),
      durations_(index, tables_.durations),
      shifts_(index, tables_.shifts) {
    rewind();
}

void Mp4TableSamples::rewind() {
    sample_ = time_ = entry_ = chunk_ = inChunk_ = at_ = key_ = 0;
    durations_.rewind();
    shifts_.rewind();
}

std::uint32_t Mp4TableSamples::sizeOf(std::uint64_t sample) const {
    if (tables_.sampleSize) return tables_.sampleSize;
    return static_cast<std::uint32_t>(number(tables_.sizes, sample * kNumber, kNumber));
}

std::uint32_t Mp4TableSamples::samplesInChunk() const {
    return static_cast<std::uint32_t>(number(tables_.chunks, entry_ * kChunkEntry + kNumber, kNumber));
}

/** The first chunk, counted from 0, behind those of the current entry. */
std::uint64_t Mp4TableSamples::chunkLimit() const {
    if (entry_ + 1 >= tables_.chunks.count) return tables_.offsets.count;
    const std::uint64_t next = number(tables_.chunks, (entry_ + 1) * kChunkEntry, kNumber);
    return std::clamp<std::uint64_t>(next, 1, tables_.offsets.count + 1) - 1;
}

/** Moves to the chunk with the next sample; false when there is none. */
bool Mp4TableSamples::enterChunk() {
    for (;;) {
        if (entry_ >= tables_.chunks.count || chunk_ >= tables_.offsets.count) return false;
        if (chunk_ >= chunkLimit()) {
            ++entry_;
        } else if (inChunk_ >= samplesInChunk()) {
            ++chunk_;
            inChunk_ = 0;
        } else {
            break;
        }
    }
    if (inChunk_ == 0) at_ = number(tables_.offsets, chunk_ * tables_.offsetBytes, tables_.offsetBytes);
    return true;
}

bool Mp4TableSamples::next(Mp4Sample& sample) {
    if (sample_ >= samples_ || !enterChunk()) return false;
    sample.track = track_;
    sample.size = sizeOf(sample_);
    if (at_ > fileBytes_ || sample.size > fileBytes_ - at_) return false;
    sample.offset = at_;
    sample.time = time_;
    sample.duration = durations_.next();
    // Unsigned in version 0, but real values fit into a signed number.
    sample.shift = static_cast<std::int32_t>(shifts_.next());
    ++sample_;
    const auto key = keyAt(key_);
    sample.key = !tables_.keys || key == sample_ - 1;
    if (key && *key < sample_) ++key_;
    at_ += sample.size;
    time_ += sample.duration;
    ++inChunk_;
    return true;
}

/** The number, counted from 0, of the key sample at a position of `keys`. */
std::optional<std::uint64_t> Mp4TableSamples::keyAt(std::uint64_t place) const {
    if (!tables_.keys || place >= tables_.keys->count) return std::nullopt;
    const std::uint64_t sample = number(*tables_.keys, place * kNumber, kNumber);
    return sample > 0 ? sample - 1 : 0;
}

void Mp4TableSamples::moveTo(std::uint64_t sample) {
    rewind();
    const std::uint64_t wanted = std::min(sample, samples_);
    time_ = durations_.skip(wanted);
    shifts_.skip(wanted);
    while (keyAt(key_) && *keyAt(key_) < wanted) ++key_;
    while (sample_ < wanted) {
        inChunk_ = 0;
        if (!enterChunk()) break;
        // All whole chunks of an entry at once: there may be as many chunks as samples.
        const std::uint64_t inEach = samplesInChunk();
        const std::uint64_t chunks = std::min(chunkLimit() - chunk_, (wanted - sample_) / inEach);
        chunk_ += chunks;
        sample_ += chunks * inEach;
        if (chunks > 0) continue;
        inChunk_ = wanted - sample_;
        for (; sample_ < wanted; ++sample_) at_ += sizeOf(sample_);
    }
    sample_ = wanted;
}

void Mp4TableSamples::moveToTime(std::int64_t time) {
    rewind();
    moveTo(time > 0 ? durations_.countWithin(static_cast<std::uint64_t>(time)) : 0);
}

bool Mp4TableSamples::moveToKey(std::int64_t time) {
    rewind();
    std::optional<std::uint64_t> best;
    std::uint64_t passed = 0;
    std::uint64_t decoded = 0;
    const std::uint64_t keys = tables_.keys ? tables_.keys->count : samples_;
    for (std::uint64_t place = 0; place < keys; ++place) {
        const std::uint64_t sample = tables_.keys ? *keyAt(place) : place;
        if (sample < passed || sample >= samples_) break;
        decoded += durations_.skip(sample - passed);
        shifts_.skip(sample - passed);
        if (decoded > kMaxTime) break;
        const auto shown = static_cast<std::int64_t>(decoded) + static_cast<std::int32_t>(shifts_.next());
        decoded += durations_.next();
        passed = sample + 1;
        if (sizeOf(sample) == 0) continue;
        if (shown > time && best) break;
        best = sample;
        if (shown > time) break;
    }
    if (best) moveTo(*best);
    return best.has_value();
}

}  // namespace recordings
