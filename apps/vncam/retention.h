#ifndef VNCAM_RETENTION_H
#define VNCAM_RETENTION_H

#include <chrono>
#include <string>
#include <vector>

#include "record_settings.h"

namespace vncam {

/** Deletes the oldest files of the recordings when they exceed the limits, and reports it. */
class Retention {
  public:
    /** `settings` must outlive the object. */
    explicit Retention(const RecordSettings& settings);

    /** Deletes files beyond the limits. Throws UsageError for a name whose fields cannot be parsed back;
     * other failures are reported once until they change. */
    void apply();
    /** Calls apply() every few seconds; to be called often. */
    void poll();

  private:
    void reportChanged(const std::string& trouble);

    const RecordSettings& settings_;
    std::vector<std::string> names_;
    std::chrono::steady_clock::time_point next_{};
    std::string trouble_; /**< as last reported */
};

}  // namespace vncam

#endif
