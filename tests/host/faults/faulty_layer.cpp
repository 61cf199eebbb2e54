#include "faulty_layer.h"

#include <system_error>

namespace kep::host {

class FaultyLayer::FaultyFile final : public File {
  public:
    FaultyFile(FaultyLayer& layer, std::unique_ptr<File> file, std::string path)
        : layer_(layer), file_(std::move(file)), path_(std::move(path)) {}

    bool write(std::uint64_t offset, const void* bytes, std::size_t size, std::string& reason) override {
        return layer_.pass(path_, layer_.writeError_, reason) && file_->write(offset, bytes, size, reason);
    }
    bool sync(std::string& reason) override {
        return layer_.pass(path_, layer_.none_, reason) && file_->sync(reason);
    }
    bool close(std::string& reason) override { return file_->close(reason); }

  private:
    FaultyLayer& layer_;
    const std::unique_ptr<File> file_;
    const std::string path_;
};

FaultyLayer::~FaultyLayer() {
    stall(false);
    use(nullptr);
}

void FaultyLayer::stall(bool stalls) {
    {
        const std::lock_guard lock(mutex_);
        stalls_ = stalls;
    }
    goesOn_.notify_all();
}

bool FaultyLayer::isWaitedFor() {
    const std::lock_guard lock(mutex_);
    return waiting_ > 0;
}

void FaultyLayer::failWrites(int error) {
    const std::lock_guard lock(mutex_);
    writeError_ = error;
}

void FaultyLayer::failCreations(int error) {
    const std::lock_guard lock(mutex_);
    creationError_ = error;
}

bool FaultyLayer::pass(const std::string& path, const int& error, std::string& reason) {
    std::unique_lock lock(mutex_);
    ++waiting_;
    goesOn_.wait(lock, [this] { return !stalls_; });
    --waiting_;
    if (error == 0) return true;
    reason = path + ": " + std::generic_category().message(error);
    return false;
}

std::unique_ptr<FileLayer::File> FaultyLayer::create(const std::string& path, std::string& reason) {
    if (!pass(path, creationError_, reason)) return nullptr;
    auto file = system().create(path, reason);
    if (!file) return nullptr;
    return std::make_unique<FaultyFile>(*this, std::move(file), path);
}

bool FaultyLayer::rename(const std::string& from, const std::string& to, std::string& reason) {
    return pass(from, none_, reason) && system().rename(from, to, reason);
}

bool FaultyLayer::replace(const std::string& from, const std::string& to, std::string& reason) {
    return pass(from, none_, reason) && system().replace(from, to, reason);
}

bool FaultyLayer::syncFolder(const std::string& folder, std::string& reason) {
    return pass(folder, none_, reason) && system().syncFolder(folder, reason);
}

bool FaultyLayer::remove(const std::string& path, std::string& reason) {
    return pass(path, none_, reason) && system().remove(path, reason);
}

}  // namespace kep::host
