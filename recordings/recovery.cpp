#include "recordings/recovery.h"

#include <algorithm>
#include <cstring>
#include <filesystem>

#include "recordings/failure.h"
#include "recordings/file_layer.h"
#include "recordings/fragment_map.h"
#include "recordings/head_index.h"
#include "recordings/temporary_file.h"

namespace recordings {

namespace fs = std::filesystem;

namespace {

constexpr const char* kRestExtension = ".rest";
/** Bytes per read when copying: enough for fast copies, small enough for the heap. */
constexpr std::uint64_t kPiece = 256 << 10;

/** `a.mp4`, `a-1.mp4`, `a-2.mp4`, ... */
std::string withNumber(const fs::path& name, int number) {
    if (number == 0) return name.string();
    fs::path result = name.parent_path() / name.stem();
    result += "-" + std::to_string(number);
    result += name.extension();
    return result.string();
}

std::string finalName(const std::string& path) {
    return path.substr(0, path.size() - std::strlen(kOpenExtension));
}

std::string freeName(const std::string& wanted) {
    int number = 0;
    while (FileLayer::current().exists(withNumber(wanted, number))) ++number;
    return withNumber(wanted, number);
}

/** End of the last nonzero byte at or behind `begin`; `begin` without one. */
std::uint64_t endOfContent(const FileBytes& file, std::uint64_t begin) {
    std::uint64_t end = file.size();
    while (end > begin) {
        const std::uint64_t from = end - begin > kPiece ? end - kPiece : begin;
        const Bytes bytes = file.read(from, end - from);
        const auto last = std::find_if(bytes.rbegin(), bytes.rend(), [](std::uint8_t byte) { return byte; });
        if (last != bytes.rend()) return from + static_cast<std::uint64_t>(bytes.rend() - last);
        end = from;
    }
    return begin;
}

/** Copies bytes of a file to a new one, completely or not at all. */
bool copyTo(const std::string& path, const FileBytes& from, std::uint64_t begin, std::uint64_t end,
            std::string& reason) {
    FileLayer& layer = FileLayer::current();
    const std::string temporary = temporaryPath(FileLayer::folderOf(path), "rest");
    std::string ignored;
    const auto file = layer.create(temporary, reason);
    if (!file) return false;
    bool written = true;
    for (std::uint64_t at = begin; at < end && written; at += kPiece) {
        const Bytes bytes = from.read(at, std::min(kPiece, end - at));
        written = file->write(at - begin, bytes.data(), bytes.size(), reason);
    }
    using Committed = FileLayer::Committed;
    const auto committed =
        written ? layer.commit(*file, temporary, path, FileLayer::Taken::refuse, reason) : Committed::no;
    if (committed == Committed::no) layer.remove(temporary, ignored);
    return committed == Committed::durable;
}

void applyRepair(const Repair& repair, FileLayer::File& file) {
    std::string reason;
    for (std::uint64_t i = 0; i < repair.count; ++i) {
        if (!file.write(repair.offset + i * repair.stride, repair.bytes.data(), repair.bytes.size(), reason))
            throw Failure("cannot repair " + reason);
    }
}

void applyRepairs(const std::vector<Repair>& repairs, FileLayer::File& file) {
    for (const Repair& repair : repairs)
        if (!repair.isLast) applyRepair(repair, file);
    if (std::ranges::none_of(repairs, &Repair::isLast)) return;
    std::string reason;
    if (!file.sync(reason)) throw Failure("cannot repair " + reason);
    for (const Repair& repair : repairs)
        if (repair.isLast) applyRepair(repair, file);
}

/** The index for the header of a fragmented file, and where its fragments end; nothing for other files, which
 * do not need it. */
std::optional<std::pair<HeadIndex, std::uint64_t>> headIndexOf(const std::string& path) try {
    /** The header of a recording, with all reserved places, takes less than 24 KiB. */
    constexpr std::uint64_t kMaxHead = 256 << 10;
    const FileBytes file(path);
    HeadIndex index(file.read(0, kMaxHead));
    BoxWindow window(file);
    const Mp4Beginning beginning = readBeginning(file, window, kMaxHead);
    FragmentWalk walk(file, beginning);
    while (walk.next(file.size())) index.add(walk.offset(), walk.fragment());
    const auto last = findFragmentIndex(file, window, beginning.firstBox);
    return std::pair(std::move(index), last ? last->begin : file.size());
} catch (const Failure&) {
    return std::nullopt;
}

void completeHeader(const std::string& path, FileLayer::File& file) {
    const auto index = headIndexOf(path);
    std::string reason;
    const auto sync = [&](std::string& why) { return file.sync(why); };
    if (index && !index->first.write(file, index->second, sync, reason))
        throw Failure("cannot repair " + reason);
}

/** Copies the bytes behind the end of a recording to `NAME.rest`; false on failure. */
bool keepRest(const std::string& path, Recovery& recovery) {
    const FileBytes file(path);
    const std::uint64_t end = endOfContent(file, recovery.check.end);
    if (end == recovery.check.end) return true;
    const std::string rest = freeName(recovery.path + kRestExtension);
    std::string ignored;
    if (!copyTo(rest, file, recovery.check.end, end, ignored)) return false;
    recovery.rest = rest;
    return true;
}

}  // namespace

std::vector<std::string> unfinishedIn(const std::string& folder) {
    std::vector<std::string> found;
    std::error_code error;
    fs::directory_iterator entries(folder, error);
    if (error) throw Failure(folder + ": cannot read the folder: " + error.message());
    for (const auto& entry : entries) {
        const std::string name = entry.path().filename();
        const bool isOpen = name.ends_with(kOpenExtension) && name.size() > std::strlen(kOpenExtension);
        // Hidden files are temporary ones, which cannot be recovered.
        if (isOpen && name.front() != '.' && entry.is_regular_file(error)) found.push_back(entry.path());
    }
    std::sort(found.begin(), found.end());
    return found;
}

Recovery planRecovery(const std::string& path) {
    if (!path.ends_with(kOpenExtension))
        throw Failure(path + ": not an unfinished recording: its name does not end in " + kOpenExtension);
    if (isBeingWritten(path))
        return {{RecordingCheck::State::inUse, 0, 0, "still being written", {}, {}}, path};
    Recovery plan{checkRecording(path), path};
    if (plan.recovered()) plan.path = freeName(finalName(path));
    return plan;
}

Recovery recoverFile(const std::string& path) {
    Recovery result = planRecovery(path);
    if (!result.recovered()) return result;
    const std::uint64_t size = fs::file_size(path);
    const bool cuts = result.check.end < size && keepRest(path, result);
    FileLayer& layer = FileLayer::current();
    std::string reason;
    const auto file = layer.open(path, reason);
    if (!file) throw Failure("cannot open " + reason);
    applyRepairs(result.check.repairs, *file);
    if (cuts) {
        if (!file->truncate(result.check.end, reason)) throw Failure("cannot truncate " + reason);
        result.cut = size - result.check.end;
    }
    completeHeader(path, *file);
    const auto committed = layer.commit(*file, path, result.path, FileLayer::Taken::refuse, reason);
    if (committed == FileLayer::Committed::no) throw Failure("cannot finish " + reason);
    return result;
}

}  // namespace recordings
