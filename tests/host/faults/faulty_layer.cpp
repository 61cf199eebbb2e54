#include "faulty_layer.h"

#include <system_error>

namespace kep::host {

FaultyLayer::~FaultyLayer() {
    stall(false);
    use(nullptr);
}

void FaultyLayer::stall(bool stalls) {
    {
        const std::lock_guard lock(mutex_);
        stalls_ = stalls;
    }
    resumed_.notify_all();
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

bool FaultyLayer::pass(Step step, const std::string& path, std::string& reason) {
    std::unique_lock lock(mutex_);
    // Closing a file writes nothing.
    if (step == Step::close) return true;
    ++waiting_;
    resumed_.wait(lock, [this] { return !stalls_; });
    --waiting_;
    const int error = step == Step::write ? writeError_ : step == Step::create ? creationError_ : 0;
    if (error == 0) return true;
    reason = path + ": " + std::generic_category().message(error);
    return false;
}

}  // namespace kep::host
