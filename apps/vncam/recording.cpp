#include "recording.h"

#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <utility>

#include "command.h"
#include "made_file.h"
#include "terminal.h"
#include "waiting.h"

namespace vncam {
namespace {

using namespace std::chrono_literals;

/** To open the camera and the encoder. */
constexpr auto kStartTimeout = 20s;
/** For the final message once all known files are closed. */
constexpr auto kMessageTimeout = 1s;

/** Starts a recording, which is then acquired as VNRES_REC_MAN. */
Resource startRecording(const RecordSettings& settings) {
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

}  // namespace

Recording::Recording(const RecordSettings& settings, std::function<void()> onFile)
    : settings_(settings),
      onFile_(std::move(onFile)),
      length_(settings_),
      resource_(startRecording(settings_)),
      inbox_(resource_.id()) {}

void Recording::listen(std::chrono::milliseconds limit) {
    takeMessages(limit);
    if (opened_ == 0 && Clock::now() - start_ > kStartTimeout)
        throw Failure("nothing recorded: no video received");
}

void Recording::finish() {
    resource_.stop();
    const auto asked = Clock::now();
    // A file may be open whose message has not arrived yet.
    const auto isAwaited = [this](Clock::duration waited) {
        return !stopped_ && waited < (closed_ < opened_ ? kEndTimeout : kMessageTimeout);
    };
    while (isAwaited(Clock::now() - asked)) takeMessages(kPollInterval);
    clearProgress();
    if (closed_ < opened_) throw Failure(current_ + ": not finished");
    if (!trouble_.empty()) throw Failure("recording incomplete: " + trouble_);
}

void Recording::takeMessages(std::chrono::milliseconds limit) {
    for (; const auto message = inbox_.next(limit); limit = 0ms) take(*message);
}

void Recording::take(const std::string& message) {
    const std::string name = messageValue(message, "name");
    const std::string path = pathOfUrl(messageValue(message, "url"));
    if (name == "recordStart") {
        current_ = path;
        fileOpened_ = Clock::now();
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

void Recording::takeFile(const std::string& path) {
    if (access(path.c_str(), F_OK) != 0) {
        report("record", path + ": no longer exists");
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
    onFile_();
}

std::string Recording::progress() const {
    if (opened_ == 0) return "vncam record  starting";
    std::string text = "vncam record  " + clockText(secondsSince(firstOpened_));
    if (settings_.seconds > 0) text += " / " + clockText(settings_.seconds);
    return text + "  segment " + std::to_string(opened_) + "  " + current_ + "  " +
           clockText(secondsSince(fileOpened_)) + "  " + std::to_string(bytesOf(current_) / 1000) + " kB";
}

}  // namespace vncam
