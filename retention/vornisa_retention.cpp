#include "vornisa_retention.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace {

/** The unit of st_blocks, in bytes. */
constexpr int64_t kBlock = 512;
/** Longest file name. */
constexpr size_t kMaxName = 512;

/** A file descriptor that the destructor closes. */
class Descriptor {
  public:
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor() {
        if (number_ >= 0) close(number_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int number() const { return number_; }

  private:
    const int number_;
};

struct Recording {
    std::string name;
    int64_t bytes;
    int64_t room; /**< bytes that its deletion frees */
    timespec finished;
};

bool endsWith(const std::string& text, const std::string& end) {
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

/** Whether `name` is `pattern` with its fields filled in. strptime accepts more, so that strftime must
 * reproduce the name to the byte. */
bool isFilled(const std::string& pattern, const std::string& name) {
    if (pattern.find('%') == pattern.npos) return name == pattern;
    tm time{};
    time.tm_mday = 1;
    const char* const end = strptime(name.c_str(), pattern.c_str(), &time);
    if (!end || *end) return false;
    char text[kMaxName];
    return strftime(text, sizeof text, pattern.c_str(), &time) > 0 && name == text;
}

/** `a.mp4` for `a-12.mp4`; empty for a name without a number before its extension. */
std::string withoutNumber(const std::string& name) {
    const size_t dot = name.rfind('.');
    const size_t end = dot == name.npos || dot == 0 ? name.size() : dot;
    const size_t last = name.find_last_not_of("0123456789", end - 1);
    const bool isNumbered = last != name.npos && last + 1 < end && name[last] == '-' && name[last + 1] != '0';
    return isNumbered ? name.substr(0, last) + name.substr(end) : std::string();
}

/** Whether files named by a pattern can be recognised. */
bool isReadable(const std::string& pattern) {
    if (pattern.empty() || pattern.find('/') != pattern.npos) return false;
    if (pattern.find('%') == pattern.npos) return true;
    const time_t now = time(nullptr);
    tm local{};
    localtime_r(&now, &local);
    char text[kMaxName];
    // Recordings have "-" in place of a "/" from a field.
    return strftime(text, sizeof text, pattern.c_str(), &local) > 0 && !std::strchr(text, '/') &&
           isFilled(pattern, text);
}

class Folder {
  public:
    explicit Folder(const VNRetention& limits)
        : limits_(limits),
          patterns_(limits.names, limits.names + limits.name_count),
          folder_(open(limits.folder, O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {}

    /** False, with errno set, when the folder cannot be read. */
    bool read() {
        struct statvfs system;
        if (folder_.number() < 0 || fstatvfs(folder_.number(), &system) != 0) return false;
        free_ = static_cast<int64_t>(system.f_bavail) * static_cast<int64_t>(system.f_frsize);
        // A descriptor of its own: closedir() closes it, and it reads from the beginning.
        const int again = openat(folder_.number(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        DIR* const entries = again < 0 ? nullptr : fdopendir(again);
        if (!entries) return false;
        while (const dirent* const entry = readdir(entries)) add(entry->d_name);
        closedir(entries);
        std::sort(recordings_.begin(), recordings_.end(), [](const Recording& one, const Recording& other) {
            return std::tie(one.finished.tv_sec, one.finished.tv_nsec, one.name) <
                   std::tie(other.finished.tv_sec, other.finished.tv_nsec, other.name);
        });
        return true;
    }

    int shrink(VNRetainCallback callback, void* context) {
        bool leftOld = false;
        for (const Recording& recording : recordings_) {
            const bool old = isOld(recording);
            if (!old && isSmallEnough()) break;
            const int error = remove(recording);
            leftOld = leftOld || (old && error != 0 && error != ENOENT);
            // Not a finished recording (ETXTBSY), or deleted by somebody else (ENOENT): do not report it.
            const bool isTold = error != ETXTBSY && error != ENOENT;
            if (isTold && callback)
                callback((std::string(limits_.folder) + "/" + recording.name).c_str(), recording.bytes, error,
                         context);
            if (error != 0 && error != ENOENT) continue;
            total_ -= recording.bytes;
            // Counts blocks as free that a reader with the file open still holds for now.
            free_ += recording.room;
        }
        return isSmallEnough() && !leftOld ? VN_RETAIN_KEPT : VN_RETAIN_EXCEEDED;
    }

  private:
    void add(const std::string& name) {
        if (endsWith(name, ".part")) return;
        const std::string base = withoutNumber(name);
        const bool isOwn = std::any_of(patterns_.begin(), patterns_.end(), [&](const std::string& pattern) {
            return isFilled(pattern, name) || (!base.empty() && isFilled(pattern, base));
        });
        struct stat status;
        if (!isOwn || fstatat(folder_.number(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0 ||
            !S_ISREG(status.st_mode))
            return;
        const int64_t room = status.st_nlink == 1 ? static_cast<int64_t>(status.st_blocks) * kBlock : 0;
        recordings_.push_back({name, static_cast<int64_t>(status.st_size), room, status.st_mtim});
        total_ += status.st_size;
    }

    bool isOld(const Recording& recording) const {
        return limits_.keep_seconds > 0 && now_ - recording.finished.tv_sec > limits_.keep_seconds;
    }

    bool isSmallEnough() const {
        return (limits_.keep_bytes == 0 || total_ <= limits_.keep_bytes) &&
               (limits_.free_bytes == 0 || free_ >= limits_.free_bytes);
    }

    /** 0, or an error number: ETXTBSY for a file that is being written. */
    int remove(const Recording& recording) const {
        const Descriptor file(
            openat(folder_.number(), recording.name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
        // Linux refuses a read lease on a file that is open for writing.
        if (file.number() >= 0 && fcntl(file.number(), F_SETLEASE, F_RDLCK) != 0 && errno == EAGAIN)
            return ETXTBSY;
        return unlinkat(folder_.number(), recording.name.c_str(), 0) == 0 ? 0 : errno;
    }

    const VNRetention limits_;
    const std::vector<std::string> patterns_;
    const Descriptor folder_;
    const time_t now_ = time(nullptr);
    std::vector<Recording> recordings_; /**< after read(): oldest first */
    int64_t total_ = 0;                 /**< size of all recordings in bytes */
    int64_t free_ = 0;                  /**< free bytes in the file system */
};

bool isUsable(const VNRetention& limits) {
    if (!limits.folder || !limits.names || limits.name_count == 0 || limits.keep_bytes < 0 ||
        limits.keep_seconds < 0 || limits.free_bytes < 0)
        return false;
    return std::all_of(limits.names, limits.names + limits.name_count,
                       [](const char* name) { return name && isReadable(name); });
}

}  // namespace

int VNRetain(const VNRetention* limits, VNRetainCallback callback, void* context) try {
    if (!limits || !isUsable(*limits)) {
        errno = EINVAL;
        return VN_RETAIN_FAILED;
    }
    Folder folder(*limits);
    return folder.read() ? folder.shrink(callback, context) : VN_RETAIN_FAILED;
} catch (const std::bad_alloc&) {
    errno = ENOMEM;
    return VN_RETAIN_FAILED;
}
