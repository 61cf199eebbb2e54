#ifndef VORNISA_FAULTY_FILES_H
#define VORNISA_FAULTY_FILES_H

#include <optional>
#include <vector>

#include "watched_disk.h"

namespace kep::host {

/** The operating system's file layer with at most one failing step. Active during its lifetime. */
class FaultyFiles final : public WatchedDisk {
  public:
    explicit FaultyFiles(std::optional<Step> failing = {});
    ~FaultyFiles() override;

    /** All steps so far, in order. */
    const std::vector<Step>& steps() const { return steps_; }
    void heal() { failing_.reset(); }

  private:
    bool pass(Step step, const std::string& path, std::string& reason) override;

    std::optional<Step> failing_;
    std::vector<Step> steps_;
};

}  // namespace kep::host

#endif
