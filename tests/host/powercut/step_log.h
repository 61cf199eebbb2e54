#ifndef VORNISA_STEP_LOG_H
#define VORNISA_STEP_LOG_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "media/files/file_layer.h"

namespace kep::host {

/** What a writer asked of the disk, in the order in which it asked. */
struct Step {
    enum class Kind { create, write, sync, rename, remove, syncFolder };

    Kind kind;
    int file = -1;      /**< of create, write and sync: which of the files, in the order of their making */
    std::string path{}; /**< of create, rename, remove, and the folder of syncFolder */
    std::string to{};   /**< of rename */
    std::uint64_t offset = 0;
    std::vector<std::uint8_t> bytes{};
    std::size_t progress = 0; /**< what the writer had been given when it asked */
};

/** A file layer without a disk: keeps every step, and of the files nothing but the names. */
class StepLog final : public FileLayer {
  public:
    /** `progress` is asked at each step; null for none. */
    explicit StepLog(std::function<std::size_t()> progress = nullptr) : progress_(std::move(progress)) {}

    const std::vector<Step>& steps() const { return steps_; }

    std::unique_ptr<File> create(const std::string& path, std::string& reason) override;
    bool rename(const std::string& from, const std::string& to, std::string& reason) override;
    bool replace(const std::string& from, const std::string& to, std::string& reason) override;
    bool syncFolder(const std::string& folder, std::string& reason) override;
    bool remove(const std::string& path, std::string& reason) override;
    bool exists(const std::string& path) override { return names_.count(path) > 0; }

  private:
    class LoggedFile;

    void add(Step step);

    std::function<std::size_t()> progress_;
    std::vector<Step> steps_;
    std::map<std::string, int> names_;
    int files_ = 0;
};

}  // namespace kep::host

#endif
