#ifndef VORNISA_PUBLIC_RECORDING_H
#define VORNISA_PUBLIC_RECORDING_H

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

namespace kep::host {

/** Recordings of 640 by 360 through the public header, in a folder of the test's own. */
class PublicRecording : public testing::Test {
  protected:
    PublicRecording();
    ~PublicRecording() override;

    const std::filesystem::path& folder() const { return folder_; }
    /** Starts a recording and listens to its messages. */
    int record(int secondsOfFile, const std::string& name = "rec.mp4",
               const std::string& video = "bitrate=500000");
    /** Stops it, and waits until all of it is told. */
    bool stop();
    /** Starts it again, as an application does after trouble. */
    bool start();
    /** Whether it plays, as an application asks. */
    bool runs() const;
    /** Changes a setting of it. */
    int set(const char* params) const;

    /** Ends it for good, as the test's end does; each start has its end by then. */
    void end();

    /** The recording's messages of a name, the oldest first. */
    static std::vector<std::string> messages(const std::string& name);
    /** Waits until there are more than `before` of them. */
    static bool waitForMessage(const std::string& name, std::size_t before = 0);

    /** Pictures that were told of as lost. */
    static int lostPictures();
    /** Looks that each file that was told as begun was told once as complete or failed. */
    static void expectEachStartToHaveItsEnd();

    /** The paths of its files, as they were told of when they were begun. */
    static std::vector<std::filesystem::path> begun();
    /** Its files with their final names, the first picture first. */
    std::vector<std::filesystem::path> finished() const;

  private:
    std::filesystem::path folder_;
    int id_ = 0;
    bool plays_ = false;
};

}  // namespace kep::host

#endif
