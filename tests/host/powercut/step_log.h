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

/** What a writer asked of the disk, in the order in which it was done. */
struct Step {
    enum class Kind { create, write, truncate, sync, rename, remove, syncFolder };

    Kind kind;
    int file = -1;            /**< which of the files, in the order of their making; -1 of syncFolder */
    std::string path{};       /**< of create, rename, remove, and the folder of syncFolder */
    std::string to{};         /**< of rename */
    std::uint64_t offset = 0; /**< of write; of truncate the size that stays */
    std::vector<std::uint8_t> bytes{};
    double captured = 0; /**< seconds of pictures that had been captured when it was done */
};

/** A file layer without a disk: keeps every step, and of the files nothing but the names. */
class StepLog final : public FileLayer {
  public:
    /** `captured` is asked at the end of each step, by any thread; null for none. */
    explicit StepLog(std::function<double()> captured = nullptr) : captured_(std::move(captured)) {}

    /** To be read when nobody writes any more. */
    const std::vector<Step>& steps() const { return steps_; }
    std::size_t count() const;

    /** How long a sync takes. */
    void setSyncTime(std::chrono::milliseconds time);
    /** Has writes fail, in their middle, when they have taken so many bytes. */
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
