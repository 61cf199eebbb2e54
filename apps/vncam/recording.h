#ifndef VNCAM_RECORDING_H
#define VNCAM_RECORDING_H

#include <chrono>
#include <functional>
#include <string>

#include "message.h"
#include "record_settings.h"
#include "recording_length.h"
#include "resource.h"

namespace vncam {

/** A running recording, followed through its messages. */
class Recording {
  public:
    /** Starts it. `onFile` is called whenever a file is finished, after its name has been printed. Throws
     * Failure. */
    Recording(const RecordSettings& settings, std::function<void()> onFile);

    /** Takes the messages that arrive within the limit. Throws Failure when nothing can be recorded. */
    void listen(std::chrono::milliseconds limit);
    /** Whether the requested length is recorded. */
    bool isOver() const { return length_.isOver(Clock::now()); }
    /** Stops the recording and waits until its last file is renamed. Throws Failure. To be called once. */
    void finish();

    std::string progress() const;
    int files() const { return files_; } /**< closed and kept */
    std::uint64_t bytes() const { return bytes_; }
    std::uint64_t lost() const { return lost_; } /**< frames */

  private:
    using Clock = std::chrono::steady_clock;

    void takeMessages(std::chrono::milliseconds limit);
    void take(const std::string& message);
    void takeFile(const std::string& path);

    const RecordSettings settings_;
    const std::function<void()> onFile_;
    RecordingLength length_;
    const Resource resource_;
    Inbox inbox_;
    const Clock::time_point start_ = Clock::now();
    int opened_ = 0;
    int closed_ = 0;
    bool stopped_ = false;
    int files_ = 0;
    std::uint64_t bytes_ = 0;
    std::uint64_t lost_ = 0;
    std::string current_;
    std::string trouble_;
    Clock::time_point firstOpened_{}, fileOpened_{};
};

}  // namespace vncam

#endif
