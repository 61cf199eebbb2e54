#include "faulty_files.h"

namespace kep::host {

FaultyFiles::FaultyFiles(std::optional<Step> failing) : failing_(failing) {
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

}  // namespace kep::host
