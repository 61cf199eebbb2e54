#include "step_log.h"

namespace kep::host {

class StepLog::LoggedFile final : public File {
  public:
    LoggedFile(StepLog& log, int number) : log_(log), number_(number) {}

    bool write(std::uint64_t offset, const void* bytes, std::size_t size, std::string&) override {
        const auto* const begin = static_cast<const std::uint8_t*>(bytes);
        log_.add(
            {.kind = Step::Kind::write, .file = number_, .offset = offset, .bytes = {begin, begin + size}});
        return true;
    }
    bool sync(std::string&) override {
        log_.add({.kind = Step::Kind::sync, .file = number_});
        return true;
    }
    bool close(std::string&) override { return true; }

  private:
    StepLog& log_;
    const int number_;
};

void StepLog::add(Step step) {
    step.progress = progress_ ? progress_() : 0;
    steps_.push_back(std::move(step));
}

std::unique_ptr<FileLayer::File> StepLog::create(const std::string& path, std::string& reason) {
    if (!names_.emplace(path, files_).second) {
        reason = path + ": File exists";
        return nullptr;
    }
    add({.kind = Step::Kind::create, .file = files_, .path = path});
    return std::make_unique<LoggedFile>(*this, files_++);
}

bool StepLog::rename(const std::string& from, const std::string& to, std::string& reason) {
    if (names_.count(to)) {
        reason = to + ": File exists";
        return false;
    }
    return replace(from, to, reason);
}

bool StepLog::replace(const std::string& from, const std::string& to, std::string& reason) {
    const auto found = names_.find(from);
    if (found == names_.end()) {
        reason = from + ": No such file or directory";
        return false;
    }
    names_[to] = found->second;
    names_.erase(from);
    add({.kind = Step::Kind::rename, .path = from, .to = to});
    return true;
}

bool StepLog::syncFolder(const std::string& folder, std::string&) {
    add({.kind = Step::Kind::syncFolder, .path = folder});
    return true;
}

bool StepLog::remove(const std::string& path, std::string& reason) {
    if (names_.erase(path) == 0) {
        reason = path + ": No such file or directory";
        return false;
    }
    add({.kind = Step::Kind::remove, .path = path});
    return true;
}

}  // namespace kep::host
