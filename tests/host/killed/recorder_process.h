#ifndef VORNISA_RECORDER_PROCESS_H
#define VORNISA_RECORDER_PROCESS_H

#include <sys/types.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

/** The peers get the pictures through a pipe, in real time. */
enum class Recorder { ours, ffmpeg, gstreamer };

/** Records numbered pictures of 640x360 at 30 per second into fragments of one second. */
class RecorderProcess {
  public:
    /**
     * @param secondsOfFile file length of our recorder; the peers make a single file
     * @param microphone value of KEP_HOST_AUDIO for our recorder; the peers record no audio
     */
    RecorderProcess(Recorder recorder, const std::string& folder, int secondsOfFile,
                    const std::string& microphone);
    ~RecorderProcess();
    RecorderProcess(const RecorderProcess&) = delete;
    RecorderProcess& operator=(const RecorderProcess&) = delete;

    /** Waits until the first picture has been captured; false if that fails. */
    bool waitForFirst(std::chrono::seconds limit);
    /** Kills it; returns the number of the newest picture captured. */
    std::optional<std::uint32_t> kill();

    /**
     * The numbers of all pictures that our recorder has captured: a camera starved of CPU time skips some.
     * Empty for the peers.
     */
    const std::set<std::int64_t>& captured() const { return captured_; }

  private:
    void start(const std::vector<std::string>& command, bool feeds);
    void feed();
    bool takeNumbers(bool wait, std::chrono::milliseconds limit);

    pid_t process_ = -1;
    int pipe_ = -1;
    bool feeds_ = false;
    std::atomic<bool> stopping_{false};
    std::atomic<std::int64_t> newest_{-1};
    std::thread feeder_;
    std::string rest_;
    std::set<std::int64_t> captured_;
};

#endif
