#include "noted_disk.h"

#include "file_contents.h"

namespace kep::host {

class NotedDisk::NotedFile final : public File {
  public:
    NotedFile(NotedDisk& disk, int number, std::unique_ptr<File> file)
        : disk_(disk), number_(number), file_(std::move(file)) {}

    bool write(std::uint64_t offset, const void* bytes, std::size_t size, std::string& reason) override {
        if (!file_->write(offset, bytes, size, reason)) return false;
        const auto* const begin = static_cast<const std::uint8_t*>(bytes);
        disk_.steps_.push_back(
            {.kind = Step::Kind::write, .file = number_, .offset = offset, .bytes = {begin, begin + size}});
        return true;
    }
    bool truncate(std::uint64_t size, std::string& reason) override {
        if (!file_->truncate(size, reason)) return false;
        disk_.steps_.push_back({.kind = Step::Kind::truncate, .file = number_, .offset = size});
        return true;
    }
    bool sync(std::string&) override {
        disk_.steps_.push_back({.kind = Step::Kind::sync, .file = number_});
        return true;
    }
    bool close(std::string& reason) override { return file_->close(reason); }

  private:
    NotedDisk& disk_;
    const int number_;
    const std::unique_ptr<File> file_;
};

NotedDisk::NotedDisk(const std::string& folder) {
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        names_[entry.path()] = files_;
        steps_.push_back({.kind = Step::Kind::create, .file = files_, .path = entry.path()});
        steps_.push_back({.kind = Step::Kind::write,
                          .file = files_,
                          .bytes = contentsOf<std::vector<std::uint8_t>>(entry.path())});
        steps_.push_back({.kind = Step::Kind::sync, .file = files_});
        ++files_;
    }
    steps_.push_back({.kind = Step::Kind::syncFolder, .path = folder});
}

std::unique_ptr<FileLayer::File> NotedDisk::create(const std::string& path, std::string& reason) {
    auto file = system().create(path, reason);
    if (!file) return nullptr;
    names_[path] = files_;
    steps_.push_back({.kind = Step::Kind::create, .file = files_, .path = path});
    return std::make_unique<NotedFile>(*this, files_++, std::move(file));
}

std::unique_ptr<FileLayer::File> NotedDisk::open(const std::string& path, std::string& reason) {
    auto file = system().open(path, reason);
    return file ? std::make_unique<NotedFile>(*this, names_.at(path), std::move(file)) : nullptr;
}

void NotedDisk::addRename(const std::string& from, const std::string& to) {
    const int file = names_.at(from);
    names_.erase(from);
    names_[to] = file;
    steps_.push_back({.kind = Step::Kind::rename, .file = file, .path = from, .to = to});
}

bool NotedDisk::rename(const std::string& from, const std::string& to, std::string& reason) {
    if (!system().rename(from, to, reason)) return false;
    addRename(from, to);
    return true;
}

bool NotedDisk::replace(const std::string& from, const std::string& to, std::string& reason) {
    if (!system().replace(from, to, reason)) return false;
    addRename(from, to);
    return true;
}

bool NotedDisk::syncFolder(const std::string& folder, std::string&) {
    steps_.push_back({.kind = Step::Kind::syncFolder, .path = folder});
    return true;
}

bool NotedDisk::remove(const std::string& path, std::string& reason) {
    if (!system().remove(path, reason)) return false;
    steps_.push_back({.kind = Step::Kind::remove, .file = names_.at(path), .path = path});
    names_.erase(path);
    return true;
}

}  // namespace kep::host
