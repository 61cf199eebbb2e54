#ifndef VORNISA_WATCHED_DISK_H
#define VORNISA_WATCHED_DISK_H

#include <memory>
#include <string>

#include "recordings/file_layer.h"

namespace kep::host {

using recordings::FileLayer;

/** The operating system's file layer, in which every step first has to pass: a test's way to refuse it. */
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
     * Called before each step, on the thread that takes it. False, with `reason` filled, has it fail; half
     * of what could not be written is then in the file, as a disk takes what it still has room for.
     */
    virtual bool pass(Step step, const std::string& path, std::string& reason) = 0;

  private:
    class WatchedFile;
};

}  // namespace kep::host

#endif
