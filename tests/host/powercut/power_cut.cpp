#include "power_cut.h"

#include <algorithm>

namespace kep::host {
namespace {

/**
 * Of the unsure name changes each of the last ones may be missing. Only a writer that never syncs a folder
 * has more.
 */
constexpr std::size_t kWalkedNames = 6;

}  // namespace

PowerCut::PowerCut(const std::vector<Step>& steps, std::size_t done, std::span<const std::uint8_t> old)
    : old_(old), done_(done) {
    for (std::size_t i = 0; i < done; ++i) {
        const Step& step = steps[i];
        const auto file = static_cast<std::size_t>(step.file);
        switch (step.kind) {
            case Step::Kind::create:
                files_.resize(std::max(files_.size(), file + 1));
                unsureNames_.push_back({true, step.path, &step});
                break;
            case Step::Kind::rename:
                unsureNames_.push_back({true, step.to, &step});
                unsureNames_.push_back({false, step.path, &step});
                break;
            case Step::Kind::remove:
                unsureNames_.push_back({false, step.path, &step});
                break;
            case Step::Kind::write:
            case Step::Kind::truncate:
                files_[file].unsure.push_back(&step);
                break;
            case Step::Kind::sync:
                files_[file].settle();
                break;
            case Step::Kind::syncFolder:
                settleFolder(step.path);
                break;
        }
    }
}

void PowerCut::settleFolder(const std::string& folder) {
    std::erase_if(unsureNames_, [&](const NameChange& change) {
        if (FileLayer::folderOf(change.path) != folder) return false;
        apply(sureNames_, change);
        return true;
    });
}

void PowerCut::apply(Names& names, const NameChange& change) {
    const int file = change.step->file;
    if (change.gives) {
        names[change.path] = file;
    } else if (const auto found = names.find(change.path); found != names.end() && found->second == file) {
        names.erase(found);
    }
}

std::vector<PowerCut::Names> PowerCut::possibleNames() const {
    const std::size_t walked = std::min(unsureNames_.size(), kWalkedNames);
    const std::size_t before = unsureNames_.size() - walked;
    std::set<Names> found;
    for (unsigned choice = 0; choice < 1U << walked; ++choice) {
        Names names = sureNames_;
        for (std::size_t i = 0; i < unsureNames_.size(); ++i) {
            if (i < before || choice >> (i - before) & 1) apply(names, unsureNames_[i]);
        }
        found.insert(std::move(names));
    }
    return {found.begin(), found.end()};
}

std::set<std::string> PowerCut::namelessIn(const Names& names) const {
    std::set<std::string> nameless;
    for (const NameChange& change : unsureNames_) {
        if (change.step->kind != Step::Kind::rename) continue;
        const auto isOfFile = [&](const auto& name) { return name.second == change.step->file; };
        if (std::none_of(names.begin(), names.end(), isOfFile)) nameless.insert(change.step->to);
    }
    return nameless;
}

void PowerCut::forEachDisk(int draws, const std::function<void(const Disk&)>& judge) const {
    std::vector<std::vector<SharedContent>> contents;
    for (std::size_t i = 0; i < files_.size(); ++i)
        contents.push_back(outcomesOf(files_[i], old_, draws, static_cast<std::uint32_t>(done_ * 1009 + i)));
    using Choice = std::vector<std::size_t>;
    for (const Names& names : possibleNames()) {
        // Varies one file at a time, with the others first complete, then as far as they are sure.
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
            disk.nameless = namelessIn(names);
            for (const auto& [path, file] : names) {
                const auto number = static_cast<std::size_t>(file);
                disk.files[path] = contents[number][choice[number]];
            }
            judge(disk);
        }
    }
}

}  // namespace kep::host
