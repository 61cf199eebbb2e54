#ifndef VORNISA_FAULTY_FILES_H
#define VORNISA_FAULTY_FILES_H

#include <vector>

#include "media/files/file_layer.h"

namespace kep::host {

/** The operating system's file layer, in which one step fails. In use for as long as it lives. */
class FaultyFiles final : public FileLayer {
  public:
    enum class Step { none, create, write, sync, close, replace };

    explicit FaultyFiles(Step failing);
    ~FaultyFiles() override;

    std::unique_ptr<File> create(const std::string& path, std::string& reason) override;
    bool rename(const std::string& from, const std::string& to, std::string& reason) override;
    bool replace(const std::string& from, const std::string& to, std::string& reason) override;
    bool syncFolder(const std::string& folder, std::string& reason) override;
    bool remove(const std::string& path, std::string& reason) override;
    bool exists(const std::string& path) override;

    /** All that was done so far, in its order. */
    const std::vector<Step>& steps() const { return steps_; }
    void heal() { failing_ = Step::none; }

  private:
    friend class FaultyFile;
    /** Notes a step; false, with `reason` filled, when it is the one that fails. */
    bool pass(Step step, const std::string& path, std::string& reason);

    Step failing_;
    std::vector<Step> steps_;
};

}  // namespace kep::host

#endif
