#include <map>
#include <memory>
#include <optional>
#include <set>
#include <thread>

#include "media/pipeline/element.h"
#include "media/playback/file_track.h"
#include "media/playback/file_url.h"
#include "media/threads.h"
#include "objects/class_registry.h"
#include "objects/log.h"
#include "recordings/failure.h"

namespace kep::host {
namespace {

using recordings::Mp4Reader;

/** An open file and its playable tracks. */
struct OpenFile {
    std::unique_ptr<Mp4Reader> reader;
    std::map<std::uint32_t, std::unique_ptr<FileTrack>> tracks;
};

/**
 * Gives the packets of an MP4 file, `url=file://PATH`, as fast as the elements after it take them. In state
 * ready the file is open; "duration" and "seek" are in milliseconds. At the end of the file, once all packets
 * have been processed, it sends `name=endOfFile` upward and waits for a seek. State null closes the file; the
 * next start begins at its beginning.
 *
 * A seek drops the packets queued in the elements after it, except one that is being processed.
 */
class Mp4Demuxer final : public SourceElement {
  public:
    Mp4Demuxer() {
        properties().add<std::string>(
            "url",
            [this] {
                const MutexLock lock(mutex_);
                return url_;
            },
            [this](const std::string& url) { return setUrl(url); });
        properties().add<std::int64_t>(
            "duration",
            [this] {
                const MutexLock lock(mutex_);
                return file_.reader ? file_.reader->milliseconds() : 0;
            },
            nullptr);
        properties().add<std::int64_t>("seek", nullptr, [this](std::int64_t to) { return seek(to); });
    }
    ~Mp4Demuxer() override { retire(); }

  protected:
    bool up(State target) override {
        if (target == State::ready) return open();
        const MutexLock lock(mutex_);
        isStopping_ = hasEnded_ = isParked_ = false;
        isRunning_ = true;
        thread_ = startThread(Thread::demuxer, [this] { work(); });
        return true;
    }

    bool down(State target) override {
        if (target == State::null) {
            MutexLock lock(mutex_);
            waitForSeek(lock);
            file_ = {};
            return true;
        }
        {
            const MutexLock lock(mutex_);
            isStopping_ = true;
            changed_.notifyAll();
        }
        // Do not wait until the queued packets have been processed.
        discard(true);
        thread_.join();
        const MutexLock lock(mutex_);
        isRunning_ = false;
        return true;
    }

  private:
    bool setUrl(const std::string& url) {
        if (!localPath(url, label())) return false;
        std::string before;
        {
            const MutexLock lock(mutex_);
            if (isRunning_) {
                KEP_HOST_ERROR(label() + ": url={" + url + "} cannot be set while it plays another file");
                return false;
            }
            before = std::exchange(url_, url);
        }
        if (state() == State::null || open()) return true;
        const MutexLock lock(mutex_);
        url_ = before;
        return false;
    }

    bool open() {
        std::string url;
        {
            const MutexLock lock(mutex_);
            url = url_;
        }
        if (url.empty()) {
            KEP_HOST_ERROR(label() + ": no url set");
            return false;
        }
        const auto path = localPath(url, label());
        std::optional<OpenFile> opened = path ? openFile(*path) : std::nullopt;
        if (!opened) return false;
        MutexLock lock(mutex_);
        waitForSeek(lock);
        file_ = std::move(*opened);
        return true;
    }

    std::optional<OpenFile> openFile(const std::string& path) const try {
        OpenFile file;
        file.reader = std::make_unique<Mp4Reader>(path);
        std::set<std::uint32_t> played;
        for (const auto& [number, track] : file.reader->tracks()) {
            std::string reason;
            auto known = FileTrack::make(track, reason);
            if (known) {
                played.insert(number);
                file.tracks[number] = std::move(known);
            } else {
                KEP_HOST_INFO(label() + ": " + path + ": skips track " + std::to_string(number) + ", " +
                              track.codec + ": " + reason);
            }
        }
        if (played.empty()) {
            KEP_HOST_ERROR(label() + ": " + path + ": no H.264 or AAC track");
            return std::nullopt;
        }
        file.reader->select(std::move(played));
        return file;
    } catch (const recordings::Failure& failure) {
        KEP_HOST_ERROR(label() + ": " + failure.what());
        return std::nullopt;
    }

    void waitForSeek(MutexLock& lock) REQUIRES(mutex_) {
        changed_.wait(lock, [this]() REQUIRES(mutex_) { return !isSeeking_; });
    }

    bool seek(std::int64_t to) {
        {
            MutexLock lock(mutex_);
            waitForSeek(lock);
            const std::int64_t length = file_.reader ? file_.reader->milliseconds() : -1;
            if (to < 0 || to > length) {
                KEP_HOST_ERROR(label() + (length < 0 ? ": cannot seek: no file is open"
                                                     : ": seek=" + std::to_string(to) + " is not from 0 to " +
                                                           std::to_string(length)));
                return false;
            }
            isSeeking_ = true;
        }
        // Unblocks the thread, which may be waiting in an element after this one, so that it can park.
        discard(true);
        {
            MutexLock lock(mutex_);
            changed_.wait(lock, [this]() REQUIRES(mutex_) { return !isRunning_ || isParked_; });
        }
        const bool found = seekReader(to);
        {
            const MutexLock lock(mutex_);
            if (!isStopping_) discard(false);
            isSeeking_ = false;
            hasEnded_ = false;
            changed_.notifyAll();
        }
        return found;
    }

    /** Call it only while nothing else uses the reader. */
    bool seekReader(std::int64_t to) NO_THREAD_SAFETY_ANALYSIS try {
        if (file_.reader->seek(to)) return true;
        KEP_HOST_ERROR(label() + ": seek=" + std::to_string(to) + ": the file has no key frame");
        return false;
    } catch (const recordings::Failure& failure) {
        KEP_HOST_ERROR(label() + ": " + failure.what());
        return false;
    }

    /** Waits during a seek and at the end of the file. False when the thread must end. */
    bool waitUntilReadable() {
        MutexLock lock(mutex_);
        if (!isStopping_ && (isSeeking_ || hasEnded_)) {
            isParked_ = true;
            changed_.notifyAll();
            changed_.wait(lock,
                          [this]() REQUIRES(mutex_) { return !isSeeking_ && (isStopping_ || !hasEnded_); });
            isParked_ = false;
        }
        return !isStopping_;
    }

    void work() {
        while (waitUntilReadable()) {
            if (!giveNext()) end();
        }
        const MutexLock lock(mutex_);
        // A seek that begins now must not wait for this thread.
        isParked_ = true;
        changed_.notifyAll();
    }

    /** False at the end of the file or after a read error. Needs no lock for file_, which changes only while
     * this thread is parked. */
    bool giveNext() NO_THREAD_SAFETY_ANALYSIS try {
        const auto read = file_.reader->next();
        if (!read) return false;
        const FileTrack& track = *file_.tracks.at(read->track);
        if (const auto packet = track.packet(*read)) {
            give(packet);
        } else {
            tellLost(track.media()->kind, 1);
        }
        return true;
    } catch (const recordings::Failure& failure) {
        KEP_HOST_ERROR(label() + ": " + failure.what());
        tellFailed({url_, failure.what(), {}});
        return false;
    }

    void end() {
        giveCut();
        std::string url;
        {
            const MutexLock lock(mutex_);
            if (isSeeking_ || isStopping_) return;
            hasEnded_ = true;
            url = url_;
        }
        tell("endOfFile", "url={" + url + "}");
    }

    Mutex mutex_;
    Condition changed_;
    std::string url_ GUARDED_BY(mutex_);
    OpenFile file_ GUARDED_BY(mutex_);
    bool isRunning_ GUARDED_BY(mutex_) = false;
    bool isStopping_ GUARDED_BY(mutex_) = false;
    bool isSeeking_ GUARDED_BY(mutex_) = false;
    bool isParked_ GUARDED_BY(mutex_) = false; /**< the thread does not use the file until changed_ */
    bool hasEnded_ GUARDED_BY(mutex_) = false;
    std::thread thread_;
};

const ClassRegistration<Mp4Demuxer> mp4DemuxerRegistration("Mp4Demuxer");

}  // namespace
}  // namespace kep::host
