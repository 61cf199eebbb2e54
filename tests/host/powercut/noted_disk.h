#ifndef VORNISA_NOTED_DISK_H
#define VORNISA_NOTED_DISK_H

#include "step_log.h"

namespace kep::host {

/**
 * The operating system's file layer, with a log of every step. Syncs are only logged: thousands of real ones
 * would take minutes, and no real power cut has to be survived.
 */
class NotedDisk final : public FileLayer {
  public:
    /** Logs the existing files of `folder` first, as synced. */
    explicit NotedDisk(const std::string& folder);

    const std::vector<Step>& steps() const { return steps_; }

    std::unique_ptr<File> create(const std::string& path, std::string& reason) override;
    std::unique_ptr<File> open(const std::string& path, std::string& reason) override;
    bool rename(const std::string& from, const std::string& to, std::string& reason) override;
    bool replace(const std::string& from, const std::string& to, std::string& reason) override;
    bool syncFolder(const std::string& folder, std::string& reason) override;
    bool remove(const std::string& path, std::string& reason) override;
    bool exists(const std::string& path) override { return system().exists(path); }

  private:
    class NotedFile;

    void addRename(const std::string& from, const std::string& to);

    std::vector<Step> steps_;
    std::map<std::string, int> names_;
    int files_ = 0;
};

}  // namespace kep::host

#endif
