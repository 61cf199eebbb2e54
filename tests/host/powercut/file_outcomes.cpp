#include "file_outcomes.h"

#include <algorithm>
#include <cstring>
#include <random>
#include <string_view>
#include <unordered_set>

namespace kep::host {
namespace {

/** Up to this many unsure pieces, all combinations are tried; more are sampled at random. */
constexpr std::size_t kWalked = 4;
/** Sector sizes: the smallest that every disk writes atomically, and that of most disks. */
constexpr std::uint64_t kSectors[] = {512, 4096};
constexpr std::uint64_t kSector = kSectors[0];

std::uint64_t hashOf(const std::uint8_t* bytes, std::size_t size) {
    return std::hash<std::string_view>{}({reinterpret_cast<const char*>(bytes), size});
}

/** The contents of blocks that are allocated to a file but not written yet. */
class Blocks {
  public:
    /** Zeroes if `old` is empty, else the bytes of `old` at the file's own offset plus `shift`. */
    explicit Blocks(std::span<const std::uint8_t> old = {}, std::uint64_t shift = 0)
        : old_(old), shift_(shift) {}

    /** Extends a file to `size` without writing to it. */
    void grow(Bytes& content, std::uint64_t size) const {
        // The rest of the last sector is always zero.
        std::uint64_t at = (content.size() + kSector - 1) / kSector * kSector;
        if (content.size() < size) content.resize(size);
        while (!old_.empty() && at < size) {
            const std::uint64_t from = (at + shift_) % old_.size();
            const std::uint64_t part = std::min(size - at, old_.size() - from);
            std::memcpy(content.data() + at, old_.data() + from, part);
            at += part;
        }
    }

    /** Applies the first `size` bytes of a write. */
    void put(Bytes& content, const Step& write, std::uint64_t size) const {
        if (size == 0) return;
        const std::uint64_t end = write.offset + size;
        if (content.size() < write.offset) grow(content, write.offset);
        if (content.size() < end) content.resize(end);
        std::memcpy(content.data() + write.offset, write.bytes.data(), size);
    }

    void take(Bytes& content, const Step& step) const {
        if (step.kind == Step::Kind::write) {
            put(content, step, step.bytes.size());
        } else if (step.offset < content.size()) {
            content.resize(step.offset);
        }
    }

  private:
    std::span<const std::uint8_t> old_;
    std::uint64_t shift_;
};

/** Applies only the part of a write between two offsets of the file. */
void putPart(Bytes& content, const Step& write, std::uint64_t begin, std::uint64_t end) {
    begin = std::max(begin, write.offset);
    end = std::min<std::uint64_t>(end, write.offset + write.bytes.size());
    if (begin >= end) return;
    std::memcpy(content.data() + begin, write.bytes.data() + (begin - write.offset), end - begin);
}

class Outcomes {
  public:
    Outcomes(const UnsureFile& file, std::span<const std::uint8_t> old, int draws, std::uint32_t seed)
        : sure_(file.sure), steps_(file.unsure), draws_(draws), random_(seed), blocks_(1), whole_(file.sure) {
        if (!old.empty()) {
            blocks_.emplace_back(old);
            blocks_.emplace_back(old, (1 + drawn(old.size() / kSector + 1)) * kSector);
        }
        for (const Step* step : steps_) {
            blocks_.front().take(whole_, *step);
            same_ = std::min(same_, step->offset);
        }
    }

    std::vector<SharedContent> all() && {
        chooseSteps();
        const auto isWrite = [](const Step* step) { return step->kind == Step::Kind::write; };
        if (std::all_of(steps_.begin(), steps_.end(), isWrite)) {
            tearWrites();
            for (const std::uint64_t sector : kSectors) chooseSectors(sector);
        }
        return std::move(inOrder_);
    }

  private:
    std::uint64_t drawn(std::uint64_t below) { return random_() % below; }
    const Blocks& drawnBlocks() { return blocks_[drawn(blocks_.size())]; }

    void add(Bytes content) {
        const std::size_t from = std::min<std::uint64_t>(same_, content.size());
        const std::uint64_t hash = hashOf(content.data() + from, content.size() - from) + content.size();
        if (known_.insert(hash).second)
            inOrder_.push_back(std::make_shared<const Content>(std::move(content)));
    }

    /** Adds `content` at its own size and at the size after all steps. */
    void addBoth(const Blocks& unwritten, Bytes content) {
        add(content);
        if (content.size() >= whole_.size()) return;
        unwritten.grow(content, whole_.size());
        add(std::move(content));
    }

    /** Whole steps, with any of them missing. */
    void chooseSteps() {
        const auto choose = [&](const auto& isThere) {
            for (const Blocks& unwritten : blocks_) {
                Bytes content = sure_;
                for (std::size_t i = 0; i < steps_.size(); ++i) {
                    if (isThere(i)) unwritten.take(content, *steps_[i]);
                }
                addBoth(unwritten, std::move(content));
            }
        };
        choose([](std::size_t) { return true; });
        choose([](std::size_t) { return false; });
        if (steps_.size() <= kWalked) {
            for (unsigned choice = 0; choice < 1U << steps_.size(); ++choice)
                choose([&](std::size_t i) { return choice >> i & 1; });
            return;
        }
        choose([&](std::size_t i) { return i + 1 == steps_.size(); });
        choose([&](std::size_t i) { return i + 1 != steps_.size(); });
        choose([&](std::size_t i) { return i != 0; });
        for (int draw = 0; draw < draws_; ++draw) {
            const auto bits = random_();
            choose([&](std::size_t i) { return i < 32 ? bits >> i & 1 : drawn(2) == 1; });
        }
    }

    /** All steps up to an offset in one of the writes, and none after it. */
    void tear(const Blocks& unwritten, std::size_t torn, std::uint64_t at) {
        const Step& write = *steps_[torn];
        const std::uint64_t place = write.offset + at;
        const bool isInSector = place < sure_.size() && place % kSector != 0;
        if (at >= write.bytes.size() || isInSector) return;
        Bytes content = sure_;
        for (std::size_t i = 0; i < torn; ++i) unwritten.take(content, *steps_[i]);
        unwritten.put(content, write, at);
        // A sector is written completely or not at all.
        if (place % kSector == 0) {
            addBoth(unwritten, std::move(content));
        } else {
            add(std::move(content));
        }
    }

    void tearWrites() {
        const std::size_t last = steps_.size() - 1;
        const std::uint64_t size = steps_[last]->bytes.size();
        for (const Blocks& unwritten : blocks_) {
            for (const std::uint64_t at : {1UL, 4UL, 7UL, 8UL, 9UL, 511UL, 513UL, size / 2, size - 1})
                tear(unwritten, last, at);
            for (const std::uint64_t sector : kSectors) {
                // Sector boundaries are relative to the file, not to the write.
                const std::uint64_t first = sector - steps_[last]->offset % sector;
                if (first >= size) continue;
                tear(unwritten, last, first);
                tear(unwritten, last, first + (size - 1 - first) / sector * sector);
            }
        }
        for (int draw = 0; draw < draws_; ++draw) {
            const std::size_t torn = drawn(steps_.size());
            tear(drawnBlocks(), torn, drawn(steps_[torn]->bytes.size()));
        }
    }

    /** Sectors, with any of them missing. */
    void chooseSectors(std::uint64_t sector) {
        const std::uint64_t from = same_ / sector;
        const std::uint64_t count = (whole_.size() + sector - 1) / sector - from;
        const auto choose = [&](const Blocks& unwritten, const auto& isThere) {
            Bytes content = sure_;
            unwritten.grow(content, whole_.size());
            for (std::uint64_t i = from; i < from + count; ++i) {
                if (!isThere(i - from)) continue;
                for (const Step* step : steps_) putPart(content, *step, i * sector, (i + 1) * sector);
            }
            add(std::move(content));
        };
        if (count <= kWalked) {
            for (const Blocks& unwritten : blocks_) {
                for (unsigned choice = 0; choice < 1U << count; ++choice)
                    choose(unwritten, [&](std::uint64_t i) { return choice >> i & 1; });
            }
            return;
        }
        for (int draw = 0; draw < draws_; ++draw) {
            // A single missing sector is harder to detect than half of them.
            const std::uint64_t missing = drawn(count);
            const bool onlyOne = draw % 2 == 0;
            choose(drawnBlocks(), [&](std::uint64_t i) { return onlyOne ? i != missing : drawn(2) == 1; });
        }
    }

    const Bytes& sure_;
    const std::vector<const Step*>& steps_;
    const int draws_;
    std::mt19937 random_;
    std::vector<Blocks> blocks_;
    Bytes whole_;                     /**< after all steps */
    std::uint64_t same_ = UINT64_MAX; /**< up to here all outcomes are the same */
    std::unordered_set<std::uint64_t> known_;
    std::vector<SharedContent> inOrder_;
};

}  // namespace

Content::Content(Bytes of) : bytes(std::move(of)), hash(hashOf(bytes.data(), bytes.size())) {}

void UnsureFile::settle() {
    for (const Step* step : unsure) Blocks().take(sure, *step);
    unsure.clear();
}

std::vector<SharedContent> outcomesOf(const UnsureFile& file, std::span<const std::uint8_t> old, int draws,
                                      std::uint32_t seed) {
    if (file.unsure.empty()) return {std::make_shared<const Content>(file.sure)};
    return Outcomes(file, old, draws, seed).all();
}

}  // namespace kep::host
