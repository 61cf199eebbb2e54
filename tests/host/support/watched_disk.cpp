#include "watched_disk.h"

#include <utility>

namespace kep::host {

class WatchedDisk::WatchedFile final : public File {
  public:
    WatchedFile(WatchedDisk& disk, std::string path, std::unique_ptr<File> file)
        : disk_(disk), path_(std::move(path)), file_(std::move(file)) {}

    bool write(std::uint64_t offset, const void* bytes, std::size_t size, std::string& reason) override {
        if (passes(Step::write, reason)) return file_->write(offset, bytes, size, reason);
        std::string ignored;
        file_->write(offset, bytes, size / 2, ignored);
        return false;
    }
    bool truncate(std::uint64_t size, std::string& reason) override {
        return passes(Step::truncate, reason) && file_->truncate(size, reason);
    }
    bool sync(std::string& reason) override { return passes(Step::sync, reason) && file_->sync(reason); }
    bool close(std::string& reason) override { return passes(Step::close, reason) && file_->close(reason); }

  private:
    bool passes(Step step, std::string& reason) { return disk_.pass(step, path_, reason); }

    WatchedDisk& disk_;
    const std::string path_;
    const std::unique_ptr<File> file_;
};

std::unique_ptr<FileLayer::File> WatchedDisk::create(const std::string& path, std::string& reason) {
    if (!pass(Step::create, path, reason)) return nullptr;
    auto file = system().create(path, reason);
    return file ? std::make_unique<WatchedFile>(*this, path, std::move(file)) : nullptr;
}

std::unique_ptr<FileLayer::File> WatchedDisk::open(const std::string& path, std::string& reason) {
    if (!pass(Step::open, path, reason)) return nullptr;
    auto file = system().open(path, reason);
    return file ? std::make_unique<WatchedFile>(*this, path, std::move(file)) : nullptr;
}

bool WatchedDisk::rename(const std::string& from, const std::string& to, std::string& reason) {
    return pass(Step::rename, from, reason) && system().rename(from, to, reason);
}

bool WatchedDisk::replace(const std::string& from, const std::string& to, std::string& reason) {
    return pass(Step::replace, from, reason) && system().replace(from, to, reason);
}

bool WatchedDisk::syncFolder(const std::string& folder, std::string& reason) {
    return pass(Step::syncFolder, folder, reason) && system().syncFolder(folder, reason);
}

bool WatchedDisk::remove(const std::string& path, std::string& reason) {
    return pass(Step::remove, path, reason) && system().remove(path, reason);
}

}  // namespace kep::host
