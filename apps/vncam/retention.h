#ifndef VNCAM_RETENTION_H
#define VNCAM_RETENTION_H

#include <chrono>
#include <string>
#include <vector>

#include "record_settings.h"

namespace vncam {

/** Deletes the oldest files of the recordings when they exceed the limits, and tells so. */
class Retention {
  public:
    /** `settings` must outlive the object. */
    explicit Retention(const RecordSettings& settings);

    /** Deletes what has to be. Throws UsageError for a name that files cannot be found by; other failures are
     * reported, once until it succeeds again. */
    void apply();
    /** The same, every few seconds; to be called often. */
    void poll();

  private:
    void tell(const std::string& trouble);

    const RecordSettings& settings_;
    std::vector<std::string> names_;
    std::chrono::steady_clock::time_point next_{};
    std::string trouble_; /**< as reported */
};

}  // namespace vncam

#endif
