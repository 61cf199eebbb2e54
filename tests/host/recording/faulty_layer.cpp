#include "faulty_layer.h"

namespace kep::host {

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

}  // namespace kep::host
