#ifndef VORNISA_FAULTY_LAYER_H
#define VORNISA_FAULTY_LAYER_H

#include <functional>
#include <mutex>

#include "media/files/file_layer.h"

namespace kep::host {

/** The operating system's file layer, of which a test decides what fails. In use for as long as it lives. */
class FaultyLayer final : public FileLayer {
  public:
    enum class Step { create, write, sync, close, rename, syncFolder };
    /** Why a step fails; null for one that does not. `count` numbers the steps of a kind from 1. */
    using Fault = std::function<const char*(Step step, int count)>;

    explicit FaultyLayer(Fault fault);
    ~FaultyLayer() override;

    std::unique_ptr<File> create(const std::string& path, std::string& reason) override;
    bool rename(const std::string& from, const std::string& to, std::string& reason) override;
    bool replace(const std::string& from, const std::string& to, std::string& reason) override;
    bool syncFolder(const std::string& folder, std::string& reason) override;
    bool remove(const std::string& path, std::string& reason) override;
    bool exists(const std::string& path) override;

    int count(Step step) const;
    void setFault(Fault fault);

  private:
    class LayerFile;
    bool pass(Step step, const std::string& path, std::string& reason);

    mutable std::mutex mutex_;
    Fault fault_;
    int counts_[6] = {};
};

}  // namespace kep::host

#endif
