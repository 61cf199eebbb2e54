#ifndef TESTS_APPS_SHELL_H
#define TESTS_APPS_SHELL_H

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace vncam_test {

/** The result of a command. */
struct Result {
    int exit;
    std::string out;
    std::string err;
};

std::string readFile(const std::filesystem::path& path);
void writeFile(const std::filesystem::path& path, const std::string& content);

/** Runs shell commands in a folder of its own, with the programs of the build first in PATH. */
class Shell : public testing::Test {
  protected:
    Shell();
    ~Shell() override;

    /** Runs bash text with the pipefail option; it is killed after two minutes, which gives 137. */
    Result run(const std::string& command) const;
    /** The only value of ffprobe for entries such as "stream=codec_name". */
    std::string probe(const std::string& file, const std::string& entries) const;
    /** All errors of decoding the file; empty when there are none. */
    std::string decodeErrors(const std::string& file) const;
    /** Runs of decoded pictures of one size: "30 of 640x360, 30 of 320x180". */
    std::string pictureRuns(const std::string& file) const;
    std::filesystem::path path(const std::string& name) const { return folder_ / name; }

  private:
    std::filesystem::path folder_;
};

}  // namespace vncam_test

#endif
