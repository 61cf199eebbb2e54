#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "command.h"
#include "interrupt.h"
#include "record_settings.h"
#include "recording.h"
#include "retention.h"
#include "terminal.h"
#include "volume_keys.h"
#include "waiting.h"

namespace vncam {
namespace {

using namespace std::chrono_literals;

class Recordings {
  public:
    explicit Recordings(const RecordSettings& settings) : settings_(settings), retention_(settings) {
        retention_.apply();
        for (const RecordSettings& each : settings.recordings())
            all_.push_back(std::make_unique<Recording>(each, [this] { hasNewFile_ = true; }));
        running_ = all_;
    }

    void watch() {
        VolumeKeys keys(SoundDevice::microphone());
        while (!stopRequested() && !running_.empty()) {
            // Only the first one waits: the others have queued their messages meanwhile.
            auto limit = kPollInterval;
            for (const auto& recording : running_) recording->listen(std::exchange(limit, 0ms));
            finishEnded();
            deleteOldFiles();
            keys.poll();
            if (!settings_.quiet && !running_.empty())
                showProgress(running_.front()->progress() + "  " + keys.device().text());
        }
    }

    /** Finishes the running recordings. Throws Failure when any recording is incomplete. */
    void finish() {
        for (const auto& recording : running_) finish(*recording);
        running_.clear();
        deleteOldFiles();
        if (!trouble_.empty()) throw Failure(trouble_);
    }

    void summarize() const {
        int files = 0;
        std::uint64_t bytes = 0, lost = 0;
        for (const auto& recording : all_) {
            files += recording->files();
            bytes += recording->bytes();
            lost += recording->lost();
        }
        report("record", countText(static_cast<std::uint64_t>(files), "file") + ", " +
                             countText(bytes, "byte") + ", " + countText(lost, "frame") + " lost");
    }

  private:
    void finishEnded() {
        std::erase_if(running_, [this](const auto& recording) {
            const bool isOver = recording->isOver();
            if (isOver) finish(*recording);
            return isOver;
        });
    }

    /** A failure does not stop the other recordings. */
    void finish(Recording& recording) {
        try {
            recording.finish();
        } catch (const Failure& failure) {
            if (!trouble_.empty()) report("record", trouble_);
            trouble_ = failure.what();
        }
    }

    /** To be called after all messages have been taken: a file that is deleted before its message would be
     * reported as missing. */
    void deleteOldFiles() {
        if (std::exchange(hasNewFile_, false)) {
            retention_.apply();
        } else {
            retention_.poll();
        }
    }

    const RecordSettings& settings_;
    Retention retention_;
    bool hasNewFile_ = false;
    std::string trouble_;
    std::vector<std::shared_ptr<Recording>> all_;
    std::vector<std::shared_ptr<Recording>> running_;
};

}  // namespace

int runRecord(int argc, char** argv) {
    const auto settings = parseRecord(argc, argv);
    if (!settings) return exitOk;
    const std::string& folder = settings->folder;
    if (access((folder + "/").c_str(), W_OK | X_OK) != 0)  // "/": a regular file fails with "Not a directory"
        throw Failure(folder + ": cannot write to the folder: " + std::strerror(errno));
    Recordings recordings(*settings);
    recordings.watch();
    recordings.finish();
    if (!settings->quiet) recordings.summarize();
    return exitOk;
}

}  // namespace vncam
