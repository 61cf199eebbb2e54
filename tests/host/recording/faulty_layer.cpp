#include "faulty_layer.h"

namespace kep::host {

class FaultyLayer::LayerFile final : public FileLayer::File {
  public:
    LayerFile(FaultyLayer& layer, std::string path, std::unique_ptr<File> file)
        : layer_(layer), path_(std::move(path)), file_(std::move(file)) {}

    bool write(std::uint64_t offset, const void* bytes, std::size_t size, std::string& reason) override {
        if (layer_.pass(Step::write, path_, reason)) return file_->write(offset, bytes, size, reason);
        // A full disk takes what it still has room for.
        std::string ignored;
        file_->write(offset, bytes, size / 2, ignored);
        return false;
    }
    bool truncate(std::uint64_t size, std::string& reason) override { return file_->truncate(size, reason); }
    bool sync(std::string& reason) override {
        return layer_.pass(Step::sync, path_, reason) && file_->sync(reason);
    }
    bool close(std::string& reason) override {
        return layer_.pass(Step::close, path_, reason) && file_->close(reason);
    }

  private:
    FaultyLayer& layer_;
    const std::string path_;
    const std::unique_ptr<File> file_;
};

FaultyLayer::FaultyLayer(Fault fault) : fault_(std::move(fault)) {
    FileLayer::use(this);
}

FaultyLayer::~FaultyLayer() {
    FileLayer::use(nullptr);
}

bool FaultyLayer::pass(Step step, const std::string& path, std::string& reason) {
    const std::lock_guard lock(mutex_);
    const char* const why = fault_(step, ++counts_[static_cast<int>(step)]);
    if (why) reason = path + ": " + why;
    return !why;
}

int FaultyLayer::count(Step step) const {
    const std::lock_guard lock(mutex_);
    return counts_[static_cast<int>(step)];
}

void FaultyLayer::setFault(Fault fault) {
    const std::lock_guard lock(mutex_);
    fault_ = std::move(fault);
}

std::unique_ptr<FileLayer::File> FaultyLayer::create(const std::string& path, std::string& reason) {
    if (!pass(Step::create, path, reason)) return nullptr;
    auto file = system().create(path, reason);
    if (!file) return nullptr;
    return std::make_unique<LayerFile>(*this, path, std::move(file));
}

bool FaultyLayer::rename(const std::string& from, const std::string& to, std::string& reason) {
    return pass(Step::rename, from, reason) && system().rename(from, to, reason);
}

bool FaultyLayer::replace(const std::string& from, const std::string& to, std::string& reason) {
    return system().replace(from, to, reason);
}

bool FaultyLayer::syncFolder(const std::string& folder, std::string& reason) {
    return pass(Step::syncFolder, folder, reason) && system().syncFolder(folder, reason);
}

bool FaultyLayer::remove(const std::string& path, std::string& reason) {
    return system().remove(path, reason);
}

bool FaultyLayer::exists(const std::string& path) {
    return system().exists(path);
}

}  // namespace kep::host
