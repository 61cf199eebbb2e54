#ifndef VORNISA_STEP_LOG_H
#define VORNISA_STEP_LOG_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "recordings/file_layer.h"

namespace kep::host {

using recordings::FileLayer;

/** A request to the disk, in the order of execution. */
struct Step {
    enum class Kind { create, write, truncate, sync, rename, remove, syncFolder };

    Kind kind;
    int file = -1;            /**< number of the file, in order of creation; -1 for syncFolder */
    std::string path{};       /**< for create, rename, remove; for syncFolder the folder */
    std::string to{};         /**< for rename */
    std::uint64_t offset = 0; /**< for write; for truncate the new size */
    std::vector<std::uint8_t> bytes{};
    double captured = 0; /**< seconds of pictures captured when it was done */
};

/** A file layer without a disk: logs every step and keeps only the names of files. */
class StepLog final : public FileLayer {
  public:
    /** `captured` is called at the end of each step, on any thread; null for none. */
    explicit StepLog(std::function<double()> captured = nullptr) : captured_(std::move(captured)) {}

    /** Read only after the last writer has finished. */
    const std::vector<Step>& steps() const { return steps_; }
    std::size_t count() const;

    /** Sets how long a sync takes. */
    void setSyncTime(std::chrono::milliseconds time);
    /** Makes writes fail, part-way, once `bytes` bytes have been written. */
    void setSpace(std::uint64_t bytes);
    bool isFull() const;

    std::unique_ptr<File> create(const std::string& path, std::string& reason) override;
    bool rename(const std::string& from, const std::string& to, std::string& reason) override;
    bool replace(const std::string& from, const std::string& to, std::string& reason) override;
    bool syncFolder(const std::string& folder, std::string& reason) override;
    bool remove(const std::string& path, std::string& reason) override;
    bool exists(const std::string& path) override;

  private:
    class LoggedFile;

    void add(Step step);
    bool addWrite(int file, std::uint64_t offset, const void* bytes, std::size_t size);
    bool addRename(const std::string& from, const std::string& to, bool replaces, std::string& reason);
    void takeSyncTime();

    const std::function<double()> captured_;
    mutable std::mutex mutex_;
    std::vector<Step> steps_;
    std::map<std::string, int> names_;
    int files_ = 0;
    std::chrono::milliseconds syncTime_{0};
    std::uint64_t space_ = UINT64_MAX;
};

}  // namespace kep::host

#endif
