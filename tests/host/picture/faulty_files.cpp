#include "faulty_files.h"

#include <utility>

namespace kep::host {

class FaultyFile final : public FileLayer::File {
  public:
    FaultyFile(FaultyFiles& layer, std::string path, std::unique_ptr<FileLayer::File> file)
        : layer_(layer), path_(std::move(path)), file_(std::move(file)) {}

    bool write(std::uint64_t offset, const void* bytes, std::size_t size, std::string& reason) override {
        return layer_.pass(FaultyFiles::Step::write, path_, reason) &&
               file_->write(offset, bytes, size, reason);
    }
    bool sync(std::string& reason) override {
        return layer_.pass(FaultyFiles::Step::sync, path_, reason) && file_->sync(reason);
    }
    bool close(std::string& reason) override {
        return layer_.pass(FaultyFiles::Step::close, path_, reason) && file_->close(reason);
    }

  private:
    FaultyFiles& layer_;
    const std::string path_;
    const std::unique_ptr<FileLayer::File> file_;
};

FaultyFiles::FaultyFiles(Step failing) : failing_(failing) {
    FileLayer::use(this);
}
FaultyFiles::~FaultyFiles() {
    FileLayer::use(nullptr);
}

bool FaultyFiles::pass(Step step, const std::string& path, std::string& reason) {
    steps_.push_back(step);
    if (step != failing_) return true;
    reason = path + ": Input/output error";
    return false;
}

std::unique_ptr<FileLayer::File> FaultyFiles::create(const std::string& path, std::string& reason) {
    if (!pass(Step::create, path, reason)) return nullptr;
    auto file = system().create(path, reason);
    return file ? std::make_unique<FaultyFile>(*this, path, std::move(file)) : nullptr;
}
bool FaultyFiles::rename(const std::string& from, const std::string& to, std::string& reason) {
    return system().rename(from, to, reason);
}
bool FaultyFiles::replace(const std::string& from, const std::string& to, std::string& reason) {
    return pass(Step::replace, from, reason) && system().replace(from, to, reason);
}
bool FaultyFiles::syncFolder(const std::string& folder, std::string& reason) {
    return system().syncFolder(folder, reason);
}
bool FaultyFiles::remove(const std::string& path, std::string& reason) {
    return system().remove(path, reason);
}
bool FaultyFiles::exists(const std::string& path) {
    return system().exists(path);
}

}  // namespace kep::host
