#include "recordings/recovery.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "recordings/failure.h"
#include "recordings/file_layer.h"

namespace recordings {

namespace fs = std::filesystem;

namespace {

constexpr const char* restExtension = ".rest";
/** Files are copied in pieces of so many bytes. */
constexpr std::uint64_t kPiece = 256 << 10;

[[noreturn]] void fail(const std::string& what, const std::string& path) {
    throw Failure(what + " " + path + ": " + std::strerror(errno));
}

/** A file or folder that is open as long as this lives. */
class Descriptor {
  public:
    Descriptor(const std::string& path, int flags) : number_(open(path.c_str(), flags | O_CLOEXEC)) {}
    ~Descriptor() {
        if (number_ >= 0) close(number_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int number() const { return number_; }

  private:
    const int number_;
};

/** Whether somebody has the file open for writing: a read lease is given for no such file. */
bool isBeingWritten(const std::string& path) {
    const Descriptor file(path, O_RDONLY);
    if (file.number() < 0) fail("cannot open", path);
    const bool refused = fcntl(file.number(), F_SETLEASE, F_RDLCK) != 0 && errno == EAGAIN;
    if (!refused) fcntl(file.number(), F_SETLEASE, F_UNLCK);
    return refused;
}

/** `a.mp4`, `a-1.mp4`, `a-2.mp4`, ... */
std::string numbered(const fs::path& name, int number) {
    if (number == 0) return name.string();
    fs::path result = name.parent_path() / name.stem();
    result += "-" + std::to_string(number);
    result += name.extension();
    return result.string();
}

std::string finalName(const std::string& path) {
    return path.substr(0, path.size() - std::strlen(openExtension));
}

std::string freeName(const std::string& wanted) {
    int number = 0;
    while (FileLayer::current().exists(numbered(wanted, number))) ++number;
    return numbered(wanted, number);
}

/** Where a file's last byte that is not zero ends. */
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

/** Writes bytes of a file to another, whole or not at all. */
bool copyTo(const std::string& path, const FileBytes& from, std::uint64_t begin, std::uint64_t end,
            std::string& reason) {
    FileLayer& layer = FileLayer::current();
    const fs::path name(path);
    const std::string temporary = (name.parent_path() / ("." + name.filename().string())).string();
    std::string ignored;
    // Of a recovery that was cut short.
    if (layer.exists(temporary)) layer.remove(temporary, ignored);
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

void make(const Repair& repair, FileLayer::File& file) {
    std::string reason;
    for (std::uint64_t i = 0; i < repair.count; ++i) {
        if (!file.write(repair.offset + i * repair.stride, repair.bytes.data(), repair.bytes.size(), reason))
            throw Failure("cannot repair " + reason);
    }
}

/** Keeps what is behind the end of a recording beside it; false when that cannot be done. */
bool keepRest(const std::string& path, Recovery& recovery) {
    const FileBytes file(path);
    const std::uint64_t end = endOfContent(file, recovery.check.end);
    if (end == recovery.check.end) return true;
    const std::string rest = freeName(recovery.path + restExtension);
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
    if (error) throw Failure("cannot read folder " + folder + ": " + error.message());
    for (const auto& entry : entries) {
        const std::string name = entry.path().filename();
        const bool isOpen = name.ends_with(openExtension) && name.size() > std::strlen(openExtension);
        // Hidden ones are pictures on their way, of which nothing can be kept.
        if (isOpen && name.front() != '.' && entry.is_regular_file(error)) found.push_back(entry.path());
    }
    std::sort(found.begin(), found.end());
    return found;
}

Recovery planRecovery(const std::string& path) {
    if (!path.ends_with(openExtension))
        throw Failure(path + " does not end in " + openExtension + ", as an unfinished recording does");
    if (isBeingWritten(path))
        return {{RecordingCheck::State::inUse, 0, 0, "something is still written to it", {}, {}}, path};
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
    for (const Repair& repair : result.check.repairs) make(repair, *file);
    if (cuts) {
        if (!file->truncate(result.check.end, reason)) throw Failure("cannot cut " + reason);
        result.cut = size - result.check.end;
    }
    const auto committed = layer.commit(*file, path, result.path, FileLayer::Taken::refuse, reason);
    if (committed == FileLayer::Committed::no) throw Failure("cannot finish " + reason);
    return result;
}

}  // namespace recordings
