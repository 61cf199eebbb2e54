#include "step_log.h"

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <thread>

namespace kep::host {
namespace {

/** Always false, so that callers can return it. */
bool fail(const std::string& path, int error, std::string& reason) {
    reason = path + ": " + std::generic_category().message(error);
    return false;
}

}  // namespace

class StepLog::LoggedFile final : public File {
  public:
    LoggedFile(StepLog& log, int number, std::string path)
        : log_(log), number_(number), path_(std::move(path)) {}

    bool write(std::uint64_t offset, const void* bytes, std::size_t size, std::string& reason) override {
        return log_.addWrite(number_, offset, bytes, size) || fail(path_, ENOSPC, reason);
    }
    bool truncate(std::uint64_t size, std::string&) override {
        log_.add({.kind = Step::Kind::truncate, .file = number_, .offset = size});
        return true;
    }
    bool sync(std::string&) override {
        log_.takeSyncTime();
        log_.add({.kind = Step::Kind::sync, .file = number_});
        return true;
    }
    bool close(std::string&) override { return true; }

  private:
    StepLog& log_;
    const int number_;
    const std::string path_;
};

std::size_t StepLog::count() const {
    const std::lock_guard lock(mutex_);
    return steps_.size();
}

void StepLog::setSyncTime(std::chrono::milliseconds time) {
    const std::lock_guard lock(mutex_);
    syncTime_ = time;
}

void StepLog::setSpace(std::uint64_t bytes) {
    const std::lock_guard lock(mutex_);
    space_ = bytes;
}

bool StepLog::isFull() const {
    const std::lock_guard lock(mutex_);
    return space_ == 0;
}

void StepLog::takeSyncTime() {
    std::unique_lock lock(mutex_);
    const auto time = syncTime_;
    lock.unlock();
    std::this_thread::sleep_for(time);
}

void StepLog::add(Step step) {
    step.captured = captured_ ? captured_() : 0;
    const std::lock_guard lock(mutex_);
    steps_.push_back(std::move(step));
}

bool StepLog::addWrite(int file, std::uint64_t offset, const void* bytes, std::size_t size) {
    std::unique_lock lock(mutex_);
    const auto taken = static_cast<std::size_t>(std::min<std::uint64_t>(size, space_));
    if (space_ != UINT64_MAX) space_ -= taken;
    lock.unlock();
    const auto* const begin = static_cast<const std::uint8_t*>(bytes);
    if (taken > 0)
        add({.kind = Step::Kind::write, .file = file, .offset = offset, .bytes = {begin, begin + taken}});
    return taken == size;
}

std::unique_ptr<FileLayer::File> StepLog::create(const std::string& path, std::string& reason) {
    std::unique_lock lock(mutex_);
    if (!names_.emplace(path, files_).second) {
        fail(path, EEXIST, reason);
        return nullptr;
    }
    const int number = files_++;
    lock.unlock();
    add({.kind = Step::Kind::create, .file = number, .path = path});
    return std::make_unique<LoggedFile>(*this, number, path);
}

bool StepLog::addRename(const std::string& from, const std::string& to, bool replaces, std::string& reason) {
    std::unique_lock lock(mutex_);
    const auto found = names_.find(from);
    if (found == names_.end()) return fail(from, ENOENT, reason);
    if (!replaces && names_.count(to)) return fail(to, EEXIST, reason);
    const int number = found->second;
    names_.erase(found);
    names_[to] = number;
    lock.unlock();
    add({.kind = Step::Kind::rename, .file = number, .path = from, .to = to});
    return true;
}

bool StepLog::rename(const std::string& from, const std::string& to, std::string& reason) {
    return addRename(from, to, false, reason);
}

bool StepLog::replace(const std::string& from, const std::string& to, std::string& reason) {
    return addRename(from, to, true, reason);
}

bool StepLog::syncFolder(const std::string& folder, std::string&) {
    takeSyncTime();
    add({.kind = Step::Kind::syncFolder, .path = folder});
    return true;
}

bool StepLog::remove(const std::string& path, std::string& reason) {
    std::unique_lock lock(mutex_);
    const auto found = names_.find(path);
    if (found == names_.end()) return fail(path, ENOENT, reason);
    const int number = found->second;
    names_.erase(found);
    lock.unlock();
    add({.kind = Step::Kind::remove, .file = number, .path = path});
    return true;
}

bool StepLog::exists(const std::string& path) {
    const std::lock_guard lock(mutex_);
    return names_.count(path) > 0;
}

}  // namespace kep::host
