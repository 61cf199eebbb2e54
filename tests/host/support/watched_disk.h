#ifndef VORNISA_WATCHED_DISK_H
#define VORNISA_WATCHED_DISK_H

#include <memory>
#include <string>

#include "recordings/file_layer.h"

namespace kep::host {

using recordings::FileLayer;

/** The operating system's file layer with a hook before each step, in which a test can make the step fail. */
class WatchedDisk : public FileLayer {
  public:
    enum class Step { create, write, truncate, sync, close, rename, replace, syncFolder, remove, open };
    static constexpr int kSteps = 10;

    std::unique_ptr<File> create(const std::string& path, std::string& reason) final;
    std::unique_ptr<File> open(const std::string& path, std::string& reason) final;
    bool rename(const std::string& from, const std::string& to, std::string& reason) final;
    bool replace(const std::string& from, const std::string& to, std::string& reason) final;
    bool syncFolder(const std::string& folder, std::string& reason) final;
    bool remove(const std::string& path, std::string& reason) final;
    bool exists(const std::string& path) final { return system().exists(path); }

  protected:
    /**
     * Called before each step, on the thread that takes it. Returning false, with `reason` filled, makes the
     * step fail; a failed write stores half of its bytes, as a disk that runs full does.
     */
    virtual bool pass(Step step, const std::string& path, std::string& reason) = 0;

  private:
    class WatchedFile;
};

}  // namespace kep::host

#endif
