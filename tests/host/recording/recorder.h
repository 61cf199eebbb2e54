#ifndef VORNISA_RECORDER_H
#define VORNISA_RECORDER_H

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "message_box.h"
#include "wait_until.h"

namespace recording_test {

/** Provides a temporary folder per test. */
class RecordingTest : public testing::Test {
  protected:
    RecordingTest();
    ~RecordingTest() override;

    const std::filesystem::path& folder() const { return folder_; }
    /** Starts a recording of 640x360 through the public header. */
    int record(int seconds, const std::string& name, const char* options, const char* video = "") const;
    /** Stops and releases it as an application does; returns the result of VNStop. */
    static int end();
    /** Waits until `count` files have their final names. */
    bool waitForFiles(std::size_t count) const;
    std::vector<std::filesystem::path> finished() const;
    std::vector<std::filesystem::path> unfinished() const;

  private:
    std::vector<std::filesystem::path> files(bool open) const;
    std::filesystem::path folder_;
};

/** Collects the messages of the recording application during its lifetime. */
class RecordingMessages {
  public:
    RecordingMessages();
    ~RecordingMessages();

    /** The messages with this name so far. */
    std::vector<std::string> all(const std::string& name) const;
    bool waitFor(const std::string& name, std::size_t count) const;
    /** Packets of a kind ("video", "audio") reported as lost. */
    int lost(const std::string& media) const;

  private:
    std::shared_ptr<MessageBox> box_ = std::make_shared<MessageBox>();
};

}  // namespace recording_test

#endif
