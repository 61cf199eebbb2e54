#include "recordings/file_layer.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <system_error>

namespace recordings {
namespace {

constexpr mode_t kNewFile = 0666;

/** Always false, for the caller to return. */
bool fail(const std::string& path, int error, std::string& reason) {
    reason = path + ": " + std::generic_category().message(error);
    return false;
}

class SystemFile final : public FileLayer::File {
  public:
    SystemFile(int descriptor, std::string path) : descriptor_(descriptor), path_(std::move(path)) {}
    ~SystemFile() override {
        if (descriptor_ >= 0) ::close(descriptor_);
    }

    bool write(std::uint64_t offset, const void* bytes, std::size_t size, std::string& reason) override {
        const char* at = static_cast<const char*>(bytes);
        while (size > 0) {
            const ssize_t written = ::pwrite(descriptor_, at, size, static_cast<off_t>(offset));
            if (written < 0 && errno == EINTR) continue;
            if (written <= 0) return fail(path_, written < 0 ? errno : EIO, reason);
            at += written;
            offset += static_cast<std::uint64_t>(written);
            size -= static_cast<std::size_t>(written);
        }
        return true;
    }

    bool truncate(std::uint64_t size, std::string& reason) override {
        return ::ftruncate(descriptor_, static_cast<off_t>(size)) == 0 || fail(path_, errno, reason);
    }

    bool sync(std::string& reason) override {
        while (::fdatasync(descriptor_) != 0) {
            if (errno != EINTR) return fail(path_, errno, reason);
        }
        return true;
    }

    bool close(std::string& reason) override {
        const int descriptor = descriptor_;
        descriptor_ = -1;
        // After EINTR the descriptor is closed all the same.
        if (descriptor < 0 || ::close(descriptor) == 0 || errno == EINTR) return true;
        return fail(path_, errno, reason);
    }

  private:
    int descriptor_;
    const std::string path_;
};

class SystemLayer final : public FileLayer {
  public:
    std::unique_ptr<File> create(const std::string& path, std::string& reason) override {
        const int descriptor = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kNewFile);
        if (descriptor < 0) {
            fail(path, errno, reason);
            return nullptr;
        }
        return std::make_unique<SystemFile>(descriptor, path);
    }

    std::unique_ptr<File> open(const std::string& path, std::string& reason) override {
        const int descriptor = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
        if (descriptor < 0) {
            fail(path, errno, reason);
            return nullptr;
        }
        return std::make_unique<SystemFile>(descriptor, path);
    }

    bool rename(const std::string& from, const std::string& to, std::string& reason) override {
        if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return true;
        if (errno != EINVAL && errno != ENOSYS) return failPair(from, to, errno, reason);
        // The file system has no RENAME_NOREPLACE: another process could create the name in between.
        if (exists(to)) return failPair(from, to, EEXIST, reason);
        return replace(from, to, reason);
    }

    bool replace(const std::string& from, const std::string& to, std::string& reason) override {
        return std::rename(from.c_str(), to.c_str()) == 0 || failPair(from, to, errno, reason);
    }

    bool syncFolder(const std::string& folder, std::string& reason) override {
        const int descriptor = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (descriptor < 0) return fail(folder, errno, reason);
        int result;
        do {
            result = ::fsync(descriptor);
        } while (result != 0 && errno == EINTR);
        const int error = errno;
        ::close(descriptor);
        // EINVAL: a file system without folder syncs does not cache names.
        return result == 0 || error == EINVAL || fail(folder, error, reason);
    }

    bool remove(const std::string& path, std::string& reason) override {
        return ::unlink(path.c_str()) == 0 || fail(path, errno, reason);
    }

    bool exists(const std::string& path) override {
        struct stat status;
        return ::lstat(path.c_str(), &status) == 0;
    }

  private:
    /** Names the new path when it exists, otherwise both. */
    static bool failPair(const std::string& from, const std::string& to, int error, std::string& reason) {
        return fail(error == EEXIST ? to : from + " to " + to, error, reason);
    }
};

std::atomic<FileLayer*> inUse{nullptr};

}  // namespace

bool FileLayer::File::truncate(std::uint64_t, std::string& reason) {
    reason = "this file layer cannot truncate";
    return false;
}

std::unique_ptr<FileLayer::File> FileLayer::open(const std::string& path, std::string& reason) {
    reason = path + ": this file layer cannot open existing files";
    return nullptr;
}

FileLayer& FileLayer::system() {
    // Never destroyed: recordings that still run at the end of the process use it.
    static SystemLayer* const layer = new SystemLayer;
    return *layer;
}

FileLayer& FileLayer::current() {
    FileLayer* const layer = inUse;
    return layer ? *layer : system();
}

void FileLayer::use(FileLayer* layer) {
    inUse = layer;
}

FileLayer::Committed FileLayer::commit(File& file, const std::string& from, const std::string& to,
                                       Taken taken, std::string& reason) {
    if (!file.sync(reason) || !file.close(reason)) return Committed::no;
    if (from != to && !(taken == Taken::replace ? replace(from, to, reason) : rename(from, to, reason)))
        return Committed::no;
    return syncFolder(folderOf(to), reason) ? Committed::durable : Committed::renamed;
}

std::string FileLayer::folderOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    if (slash == path.npos) return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

}  // namespace recordings
