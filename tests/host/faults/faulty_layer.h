#ifndef VORNISA_FAULTY_LAYER_H
#define VORNISA_FAULTY_LAYER_H

#include <cerrno>
#include <condition_variable>
#include <memory>
#include <mutex>

#include "media/files/file_layer.h"

namespace kep::host {

/** The operating system's file layer, but it stalls and fails as a test says. It is in use while it lives. */
class FaultyLayer final : public FileLayer {
  public:
    FaultyLayer() { use(this); }
    ~FaultyLayer() override;

    /** While it stalls, everything waits that goes to the disk. */
    void stall(bool stalls);
    /** Whether somebody waits for the disk. */
    bool isWaitedFor();

    /** Has what writes bytes or makes files fail with an error number; 0 for no more. */
    void failWrites(int error);
    void failCreations(int error);

    std::unique_ptr<File> create(const std::string& path, std::string& reason) override;
    bool rename(const std::string& from, const std::string& to, std::string& reason) override;
    bool replace(const std::string& from, const std::string& to, std::string& reason) override;
    bool syncFolder(const std::string& folder, std::string& reason) override;
    bool remove(const std::string& path, std::string& reason) override;
    bool exists(const std::string& path) override { return system().exists(path); }

  private:
    class FaultyFile;
    /** Waits while the disk stalls; false, with `reason` filled, when `error` says that it is to fail. */
    bool pass(const std::string& path, const int& error, std::string& reason);

    std::mutex mutex_;
    std::condition_variable goesOn_;
    bool stalls_ = false;
    int waiting_ = 0;
    int writeError_ = 0;
    int creationError_ = 0;
    const int none_ = 0;
};

}  // namespace kep::host

#endif
