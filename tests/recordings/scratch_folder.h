#ifndef TESTS_RECORDINGS_SCRATCH_FOLDER_H
#define TESTS_RECORDINGS_SCRATCH_FOLDER_H

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace recordings_test {

/** A folder of its own for each test. */
class ScratchFolder : public testing::Test {
  protected:
    ScratchFolder();
    ~ScratchFolder() override;

    const std::filesystem::path& folder() const { return folder_; }
    std::string path(const std::string& name) const { return (folder_ / name).string(); }

  private:
    std::filesystem::path folder_;
};

}  // namespace recordings_test

#endif
