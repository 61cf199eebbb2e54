#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>

#include "command.h"
#include "interrupt.h"
#include "made_file.h"
#include "message.h"
#include "record_settings.h"
#include "recording_length.h"
#include "resource.h"
#include "terminal.h"
#include "volume_keys.h"

namespace vncam {
namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;

constexpr auto kPollInterval = 100ms;
/** To open the camera and the encoder. */
constexpr auto kStartTimeout = 20s;
/** To drain the write queue to a slow disk. */
constexpr auto kEndTimeout = 30s;
/** For the final message once all known files are closed. */
constexpr auto kMessageTimeout = 1s;

double secondsSince(steady_clock::time_point time) {
    return std::chrono::duration<double>(steady_clock::now() - time).count();
}

/** Starts a recording, which is then acquired as VNRES_REC_MAN. */
Resource startRecording(const RecordSettings& settings) {
    if (access((settings.folder + "/").c_str(), W_OK | X_OK) != 0)  // "/": a file is "Not a directory"
        throw Failure(settings.folder + ": cannot write to the folder: " + std::strerror(errno));
    const std::string video = "codec=h264,framerate=" + std::to_string(settings.fps) +
                              ",bitrate=" + std::to_string(settings.bps) +
                              ",gop=" + std::to_string(settings.gop);
    check(
        VNRecMan2(settings.size.width * settings.size.height, video.c_str(), "codec=aac", settings.segment,
                  settings.folder.c_str(), settings.name.c_str(),
                  settings.plain || !settings.name.ends_with(".mp4") ? nullptr : "PowerFailProtection=true"),
        "VNRecMan2");
    return Resource(VNRES_REC_MAN);
}

/** The progress of a recording, from its messages. */
class Recording {
  public:
    explicit Recording(const RecordSettings& settings)
        : settings_(settings),
          length_(settings),
          resource_(startRecording(settings)),
          inbox_(resource_.id()) {}

    void watch() {
        VolumeKeys keys(SoundDevice::microphone());
        const auto start = steady_clock::now();
        while (!stopRequested() && !length_.isOver(steady_clock::now())) {
            listen();
            if (opened_ == 0 && steady_clock::now() - start > kStartTimeout)
                throw Failure("nothing recorded: no video received");
            keys.poll();
            if (!settings_.quiet) showProgress(progress() + "  " + keys.device().text());
        }
    }

    /** Stops the recording and waits until its last file is renamed. */
    void finish() {
        resource_.stop();
        const auto asked = steady_clock::now();
        // A file may be open whose message has not arrived yet.
        const auto isAwaited = [this](steady_clock::duration waited) {
            return !stopped_ && waited < (closed_ < opened_ ? kEndTimeout : kMessageTimeout);
        };
        while (isAwaited(steady_clock::now() - asked)) listen();
        clearProgress();
        if (closed_ < opened_) throw Failure(current_ + ": not finished");
        if (!trouble_.empty()) throw Failure("recording incomplete: " + trouble_);
    }

    void sumUp() const {
        report("record", countText(static_cast<std::uint64_t>(files_), "file") + ", " +
                             countText(bytes_, "byte") + ", " + countText(lost_, "frame") + " lost");
    }

  private:
    void listen() {
        for (auto limit = kPollInterval; const auto message = inbox_.next(limit); limit = 0ms) take(*message);
    }

    void take(const std::string& message) {
        const std::string name = messageValue(message, "name");
        const std::string path = pathOfUrl(messageValue(message, "url"));
        if (name == "recordStart") {
            current_ = path;
            fileOpened_ = steady_clock::now();
            if (opened_++ == 0) firstOpened_ = fileOpened_;
            length_.fileOpened(fileOpened_);
        } else if (name == "recordStop") {
            if (++closed_ > opened_) opened_ = closed_;
            if (length_.isComplete()) {
                // Opened before the recording could be stopped.
                std::error_code left;
                std::filesystem::remove(path, left);
            } else {
                takeFile(path);
            }
        } else if (name == "stopped") {
            stopped_ = true;
        } else if (name == "failed") {
            // The open file ends here.
            if (closed_ < opened_ && path == current_) ++closed_;
            if (length_.isComplete()) return;
            trouble_ = messageValue(message, "reason");
            if (opened_ == 0) throw Failure(trouble_);
            report("record", trouble_);
            length_.disturbed();
            const std::string kept = pathOfUrl(messageValue(message, "kept"));
            if (!kept.empty()) takeFile(kept);
        } else if (length_.isComplete()) {
            // Ignore the discarded segment.
        } else if (name == "frameLost") {
            const std::uint64_t lost = std::stoull("0" + messageValue(message, "lost"));
            lost_ += lost;
            if (messageValue(message, "media") == "video") length_.picturesLost(lost);
            report("record", countText(lost, messageValue(message, "media") + " frame") + " lost");
        } else if (name == "deviceLost") {
            report("record", "the " + messageValue(message, "media") + " device " +
                                 messageValue(message, "device") + " is lost");
            if (messageValue(message, "media") == "video") length_.disturbed();
        }
    }

    void takeFile(const std::string& path) {
        if (access(path.c_str(), F_OK) != 0) {
            report("record", path + ": gone");
            return;
        }
        ++files_;
        bytes_ += bytesOf(path);
        const bool isCounted = settings_.seconds > 0;
        const auto seconds = isCounted || !settings_.quiet ? secondsOf(path) : std::nullopt;
        if (isCounted) length_.fileClosed(seconds.value_or(0));
        clearProgress();
        std::puts(path.c_str());
        std::fflush(stdout);
        if (!settings_.quiet) report("record", lengthAndSize(path, seconds));
    }

    std::string progress() const {
        if (opened_ == 0) return "vncam record  starting";
        std::string text = "vncam record  " + clockText(secondsSince(firstOpened_));
        if (settings_.seconds > 0) text += " / " + clockText(settings_.seconds);
        return text + "  segment " + std::to_string(opened_) + "  " + current_ + "  " +
               clockText(secondsSince(fileOpened_)) + "  " + std::to_string(bytesOf(current_) / 1000) + " kB";
    }

    const RecordSettings& settings_;
    RecordingLength length_;
    const Resource resource_;
    Inbox inbox_;
    int opened_ = 0;
    int closed_ = 0;
    bool stopped_ = false;
    int files_ = 0; /**< closed and kept */
    std::uint64_t bytes_ = 0;
    std::uint64_t lost_ = 0;
    std::string current_;
    std::string trouble_;
    steady_clock::time_point firstOpened_{}, fileOpened_{};
};

}  // namespace

int runRecord(int argc, char** argv) {
    const auto settings = parseRecord(argc, argv);
    if (!settings) return exitOk;
    Recording recording(*settings);
    recording.watch();
    recording.finish();
    if (!settings->quiet) recording.sumUp();
    return exitOk;
}

}  // namespace vncam
