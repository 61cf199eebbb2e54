#ifndef VORNISA_PUBLIC_RECORDING_H
#define VORNISA_PUBLIC_RECORDING_H

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

namespace kep::host {

/** Records 640x360 through the public header into a temporary folder. */
class PublicRecording : public testing::Test {
  protected:
    PublicRecording();
    ~PublicRecording() override;

    const std::filesystem::path& folder() const { return folder_; }
    /** Starts a recording and listens to its messages. */
    int record(int secondsOfFile, const std::string& name = "rec.mp4",
               const std::string& video = "bitrate=500000");
    /** Stops it and waits for its last message. */
    bool stop();
    /** Restarts it, as an application does after a failure. */
    bool start();
    /** Whether the API reports it as running. */
    bool runs() const;
    /** Changes one of its settings. */
    int set(const char* params) const;

    /** Ends and releases it, as the destructor does; by then each start has its end. */
    void end();

    /** The recording's messages with this name, oldest first. */
    static std::vector<std::string> messages(const std::string& name);
    /** Waits until there are more than `before` such messages. */
    static bool waitForMessage(const std::string& name, std::size_t before = 0);

    /** Pictures reported as lost. */
    static int lostPictures();
    /** Expects exactly one end or failure for each file reported as begun. */
    static void expectEachStartToHaveItsEnd();

    /** The paths of its files, as reported when they were begun. */
    static std::vector<std::filesystem::path> begun();
    /** Its files with final names, in the order of their first pictures. */
    std::vector<std::filesystem::path> finished() const;

  private:
    std::filesystem::path folder_;
    int id_ = 0;
    bool plays_ = false;
};

}  // namespace kep::host

#endif
