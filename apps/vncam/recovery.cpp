#include "recovery.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "command.h"

namespace vncam {

namespace fs = std::filesystem;

namespace {

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

void cutAt(const std::string& path, std::uint64_t end) {
    const Descriptor file(path, O_RDWR);
    if (file.number() < 0 || ftruncate(file.number(), static_cast<off_t>(end)) != 0 ||
        fsync(file.number()) != 0)
        fail("cannot cut", path);
}

/** Puts the names of a folder onto the disk. Where that cannot be done there is nothing to do about it. */
void syncFolder(const fs::path& folder) {
    const Descriptor names(folder.empty() ? "." : folder.string(), O_RDONLY | O_DIRECTORY);
    if (names.number() >= 0) fsync(names.number());
}

/** Renames without taking the place of another file; false when there is one. */
bool renameTo(const std::string& from, const std::string& to) {
    if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return true;
    if (errno == EEXIST) return false;
    if (errno != EINVAL && errno != ENOSYS) fail("cannot rename", from);
    // A file system that cannot refuse by itself.
    if (fs::exists(fs::symlink_status(to))) return false;
    if (std::rename(from.c_str(), to.c_str()) != 0) fail("cannot rename", from);
    return true;
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

Recovery recoverFile(const std::string& path) {
    if (!path.ends_with(openExtension))
        throw Failure(path + " does not end in " + openExtension + ", as an unfinished recording does");
    if (isBeingWritten(path))
        return {{RecordingCheck::State::inUse, 0, 0, "something is still written to it"}, path};
    Recovery result{checkRecording(path), path};
    if (!result.recovered()) return result;
    const std::uint64_t size = fs::file_size(path);
    if (result.check.end < size) result.cut = size - result.check.end;
    cutAt(path, result.check.end);
    int number = 0;
    do {
        result.path = numbered(finalName(path), number++);
    } while (!renameTo(path, result.path));
    syncFolder(fs::path(path).parent_path());
    return result;
}

}  // namespace vncam
