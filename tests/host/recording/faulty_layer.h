#ifndef VORNISA_FAULTY_LAYER_H
#define VORNISA_FAULTY_LAYER_H

#include <functional>
#include <mutex>

#include "watched_disk.h"

namespace kep::host {

/** The operating system's file layer with failures chosen by a test. Active during its lifetime. */
class FaultyLayer final : public WatchedDisk {
  public:
    /** Returns why a step fails, or null if it succeeds. `count` numbers the steps of a kind from 1. */
    using Fault = std::function<const char*(Step step, int count)>;

    explicit FaultyLayer(Fault fault);
    ~FaultyLayer() override;

    int count(Step step) const;
    void setFault(Fault fault);

  private:
    bool pass(Step step, const std::string& path, std::string& reason) override;

    mutable std::mutex mutex_;
    Fault fault_;
    int counts_[kSteps] = {};
};

}  // namespace kep::host

#endif
