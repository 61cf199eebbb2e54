#include "power_cut.h"

#include <algorithm>
#include <random>
#include <set>

namespace kep::host {
namespace {

/** Up to so many unsure steps every choice among them is walked through. */
constexpr std::size_t kWalked = 4;
constexpr std::uint64_t kSectors[] = {512, 4096};

std::uint64_t endOf(const Step& write) {
    return write.offset + write.bytes.size();
}

/** Writes the first `size` bytes of a write. */
void put(Bytes& content, const Step& write, std::uint64_t size) {
    if (size == 0) return;
    if (content.size() < write.offset + size) content.resize(write.offset + size);
    std::copy_n(write.bytes.begin(), size, content.begin() + static_cast<std::ptrdiff_t>(write.offset));
}

/** Writes of a write only what lies in one sector. */
void putSector(Bytes& content, const Step& write, std::uint64_t begin, std::uint64_t end) {
    begin = std::max(begin, write.offset);
    end = std::min(end, endOf(write));
    if (begin >= end) return;
    if (content.size() < end) content.resize(end);
    std::copy_n(write.bytes.begin() + static_cast<std::ptrdiff_t>(begin - write.offset), end - begin,
                content.begin() + static_cast<std::ptrdiff_t>(begin));
}

void apply(std::map<std::string, int>& names, const Step& step) {
    const auto found = names.find(step.path);
    switch (step.kind) {
        case Step::Kind::create:
            names[step.path] = step.file;
            break;
        case Step::Kind::remove:
            names.erase(step.path);
            break;
        case Step::Kind::rename:
            if (found == names.end()) break;
            names[step.to] = found->second;
            names.erase(step.path);
            break;
        default:
            break;
    }
}

/** Gathers contents, each also with the size that all writes together would give it. */
class Contents {
  public:
    explicit Contents(std::size_t fullSize) : fullSize_(fullSize) {}

    void add(const Bytes& content) {
        keep(content);
        if (content.size() >= fullSize_) return;
        Bytes longer = content;
        longer.resize(fullSize_);
        keep(std::move(longer));
    }
    std::vector<SharedBytes> all() && { return std::move(inOrder_); }

  private:
    void keep(Bytes content) {
        if (!known_.insert(content).second) return;
        inOrder_.push_back(std::make_shared<const Bytes>(std::move(content)));
    }

    const std::size_t fullSize_;
    std::set<Bytes> known_;
    std::vector<SharedBytes> inOrder_;
};

}  // namespace

PowerCut::PowerCut(const std::vector<Step>& steps, std::size_t done) : done_(done) {
    for (std::size_t i = 0; i < done; ++i) {
        const Step& step = steps[i];
        switch (step.kind) {
            case Step::Kind::create:
                files_.emplace_back();
                unsureNames_.push_back(&step);
                break;
            case Step::Kind::rename:
            case Step::Kind::remove:
                unsureNames_.push_back(&step);
                break;
            case Step::Kind::write:
                files_[static_cast<std::size_t>(step.file)].unsure.push_back(&step);
                break;
            case Step::Kind::sync: {
                FileState& file = files_[static_cast<std::size_t>(step.file)];
                for (const Step* write : file.unsure) put(file.sure, *write, write->bytes.size());
                file.unsure.clear();
                break;
            }
            case Step::Kind::syncFolder: {
                const auto settled = [&](const Step* change) {
                    if (FileLayer::folderOf(change->path) != step.path) return false;
                    apply(sureNames_, *change);
                    return true;
                };
                unsureNames_.erase(std::remove_if(unsureNames_.begin(), unsureNames_.end(), settled),
                                   unsureNames_.end());
                break;
            }
        }
    }
}

std::vector<PowerCut::Names> PowerCut::possibleNames() const {
    // The first ones are those that are surest in truth; many at a time are a writer that never syncs a
    // folder.
    const std::size_t walked = std::min<std::size_t>(unsureNames_.size(), 8);
    std::set<Names> found;
    for (unsigned choice = 0; choice < 1U << walked; ++choice) {
        Names names = sureNames_;
        for (std::size_t i = 0; i < unsureNames_.size(); ++i) {
            const std::size_t fromEnd = unsureNames_.size() - 1 - i;
            if (fromEnd >= walked || choice >> fromEnd & 1) apply(names, *unsureNames_[i]);
        }
        found.insert(std::move(names));
    }
    return {found.begin(), found.end()};
}

std::vector<SharedBytes> PowerCut::possibleContents(const FileState& file, int draws,
                                                    std::uint32_t seed) const {
    if (file.unsure.empty()) return {std::make_shared<const Bytes>(file.sure)};
    const std::vector<const Step*>& writes = file.unsure;
    std::uint64_t size = file.sure.size();
    std::uint64_t begin = writes.front()->offset;
    for (const Step* write : writes) {
        size = std::max(size, endOf(*write));
        begin = std::min(begin, write->offset);
    }
    Contents contents(size);
    std::mt19937 random(seed);
    const auto drawn = [&](std::uint64_t below) { return random() % below; };
    const auto chosen = [&](const auto& isThere) {
        Bytes content = file.sure;
        for (std::size_t i = 0; i < writes.size(); ++i) {
            if (isThere(i)) put(content, *writes[i], writes[i]->bytes.size());
        }
        contents.add(content);
    };

    chosen([](std::size_t) { return true; });
    chosen([](std::size_t) { return false; });
    if (writes.size() <= kWalked) {
        for (unsigned choice = 0; choice < 1U << writes.size(); ++choice)
            chosen([&](std::size_t i) { return choice >> i & 1; });
    } else {
        chosen([&](std::size_t i) { return i + 1 == writes.size(); });
        chosen([&](std::size_t i) { return i + 1 != writes.size(); });
        chosen([&](std::size_t i) { return i != 0; });
        for (int draw = 0; draw < draws; ++draw) {
            const auto bits = random();
            chosen([&](std::size_t i) { return i < 32 ? bits >> i & 1 : drawn(2) == 1; });
        }
    }

    // Torn: all up to a place in one of the writes, and nothing after it.
    const auto tear = [&](std::size_t torn, std::uint64_t at) {
        Bytes content = file.sure;
        for (std::size_t i = 0; i < torn; ++i) put(content, *writes[i], writes[i]->bytes.size());
        put(content, *writes[torn], std::min<std::uint64_t>(at, writes[torn]->bytes.size()));
        contents.add(content);
    };
    const std::size_t last = writes.size() - 1;
    const std::uint64_t lastSize = writes[last]->bytes.size();
    for (const std::uint64_t at : {1UL, 4UL, 7UL, 8UL, 9UL, 511UL, 513UL, lastSize / 2, lastSize - 1})
        tear(last, at);
    for (const std::uint64_t sector : kSectors) {
        // Boundaries are those of the file, not of the write.
        const std::uint64_t first = sector - writes[last]->offset % sector;
        if (first >= lastSize) continue;
        tear(last, first);
        tear(last, first + (lastSize - 1 - first) / sector * sector);
    }
    for (int draw = 0; draw < draws; ++draw) {
        const std::size_t torn = drawn(writes.size());
        tear(torn, drawn(writes[torn]->bytes.size() + 1));
    }

    // Sectors in any order.
    for (const std::uint64_t sector : kSectors) {
        for (int draw = 0; draw < draws; ++draw) {
            // One that is missing is harder to see than half of them.
            const std::uint64_t from = begin / sector;
            const std::uint64_t missing = from + drawn((size + sector - 1) / sector - from);
            const bool onlyOne = draw % 2 == 0;
            Bytes content = file.sure;
            for (std::uint64_t at = from; at * sector < size; ++at) {
                if (onlyOne ? at == missing : drawn(2) == 0) continue;
                for (const Step* write : writes) putSector(content, *write, at * sector, (at + 1) * sector);
            }
            contents.add(content);
        }
    }
    return std::move(contents).all();
}

void PowerCut::forEachDisk(int draws, const std::function<void(const Disk&)>& judge) const {
    std::vector<std::vector<SharedBytes>> contents;
    for (std::size_t i = 0; i < files_.size(); ++i) {
        const auto seed = static_cast<std::uint32_t>(done_ * 1009 + i);
        contents.push_back(possibleContents(files_[i], draws, seed));
    }
    using Choice = std::vector<std::size_t>;
    for (const Names& names : possibleNames()) {
        // One file at a time goes through all that it may hold, beside others that are whole and others that
        // hold only what is sure.
        std::set<Choice> choices = {Choice(files_.size(), 0)};
        for (const std::size_t others : {0, 1}) {
            Choice choice;
            for (const auto& possible : contents) choice.push_back(std::min(others, possible.size() - 1));
            for (const auto& [path, file] : names) {
                const auto number = static_cast<std::size_t>(file);
                Choice varied = choice;
                for (varied[number] = 0; varied[number] < contents[number].size(); ++varied[number])
                    choices.insert(varied);
            }
        }
        for (const Choice& choice : choices) {
            Disk disk;
            for (const auto& [path, file] : names) {
                const auto number = static_cast<std::size_t>(file);
                disk[path] = contents[number][choice[number]];
            }
            judge(disk);
        }
    }
}

}  // namespace kep::host
