#include "media/recording/muxer.h"

#include <thread>
#include <utility>

#include "media/hub/group_queue.h"
#include "media/pipeline/element.h"
#include "media/recording/muxer_settings.h"
#include "media/recording/recording.h"
#include "media/threads.h"
#include "objects/class_registry.h"
#include "objects/log.h"

namespace kep::host {
namespace {

using Container = MediaFileSettings::Container;

constexpr const char* kClipExtension = "part";
/** Delay between two attempts to open a file. A shorter one wears a disk that stays full, a longer one loses
 * more packets once it has room. */
constexpr std::chrono::seconds kRetry(1);
/** When the next packet is overdue by this much, the open file is flushed: otherwise a power cut would lose
 * more than a second, including the packets that Sync holds back. A shorter time makes more and smaller
 * fragments. */
constexpr std::chrono::milliseconds kOverdue(150);
/** Bounds of the queue while a disk hangs: about ten seconds of a high-rate stream. */
constexpr std::size_t kMostQueued = 8192;
constexpr std::size_t kMostBytesQueued = 32U << 20;

/**
 * Writes packets to a file. Begins a new file at every cut, when a stream changes, and when a stream appears
 * that the file does not have. A queue decouples the writing thread, so that nothing else waits for a disk;
 * when it is full, whole groups are dropped. After a failed file, packets are dropped until the next attempt,
 * a second later. Consecutive failures write one line, and files of later attempts are reported as opened
 * only once the disk has accepted some of them.
 */
class Muxer : public Element, public ClipWriter {
  public:
    explicit Muxer(Container container) : container_(container) {
        properties().add<std::string>(
            "url", [this] { return urlText(); }, [this](const std::string& text) { return setUrl(text); });
        properties().add("flush", flush_);
        // Includes the packet that is being written.
        properties().add<int>(
            "queued", [this] { return static_cast<int>(queue_.size()) + (isWriting_ ? 1 : 0); }, nullptr);
        properties().add<std::string>("sendmsg", nullptr, [this](const std::string& text) {
            MuxerMessages asked;
            if (!MuxerMessages::read(text.c_str(), label(), asked)) return false;
            segments_.sendsStart = asked.start;
            segments_.sendsStop = asked.stop;
            return true;
        });
    }

    bool takesAtOnce() const override { return true; }
    void take(const SharedPacket& packet, const Element&) override;
    void takeCut(const Element&) override;
    std::unique_ptr<Clip> beginClip(const std::string& url, OnFailed failed) override;

  protected:
    bool up(State target) override;
    bool down(State target) override;

  private:
    /** A clip with its own file names and messages. */
    class OwnClip final : public Clip {
      public:
        OwnClip(Muxer& muxer, const MuxerUrl& url, MediaFileSettings settings, KnownStreams known,
                OnFailed failed)
            : path_(url.path),
              names_(url.path, url.openExtension),
              teller_(muxer, std::move(failed)),
              recording_(names_, std::move(settings), std::move(known), teller_) {
            teller_.sendsStart = teller_.sendsStop = true;
        }
        bool write(const SharedPacket& packet) override { return recording_.write(packet); }
        bool finish() override {
            if (recording_.finish()) return true;
            if (!recording_.hasFailed())
                teller_.failed({fileUrl(path_), path_ + ": no packets received", {}}, false);
            return false;
        }

      private:
        const std::string path_;
        FileNames names_;
        RecordingTeller teller_;
        Recording recording_;
    };

    /** A packet and the number of cuts before it. */
    struct Queued {
        SharedPacket packet;
        std::uint64_t cuts = 0;
    };

    void work();
    void write(const SharedPacket& packet);
    std::string urlText() {
        const MutexLock lock(mutex_);
        return urlText_;
    }
    bool setUrl(const std::string& text);
    MediaFileSettings settings(const MuxerUrl& url) const { return {container_, flush_, url.openExtension}; }
    KnownStreams known() {
        const MutexLock lock(mutex_);
        return known_;
    }
    bool begin();
    void finishSegment();
    void retryLater();
    void endTrouble();

    const Container container_;
    std::atomic<bool> flush_{false};
    RecordingTeller segments_{*this, [this](const FileFailure& failure) { tellFailed(failure); }};

    Mutex mutex_;
    std::string urlText_ GUARDED_BY(mutex_);
    MuxerUrl url_ GUARDED_BY(mutex_);
    KnownStreams known_ GUARDED_BY(mutex_);

    Mutex entry_; /**< serialises the elements that give packets */
    GroupSense given_ GUARDED_BY(entry_);
    bool hasBegun_ GUARDED_BY(entry_) = false; /**< drops before the first group are not losses */
    std::uint64_t cuts_ GUARDED_BY(entry_) = 0;
    std::thread thread_ GUARDED_BY(entry_); /**< started by the first packet: clips need none */
    GroupQueue<Queued> queue_{{kMostQueued, kMostBytesQueued}};
    std::atomic<bool> isWriting_{false};

    // Used by the thread, and by down() after joining it.
    std::uint64_t cutsMade_ = 0;
    std::unique_ptr<FileNames> names_;
    MuxerUrl namedBy_; /**< the URL of names_ */
    std::unique_ptr<Recording> recording_;
    GroupSense groups_;
    bool cutAtKey_ = false;
    SteadyTime retry_;
    PacketCounts dropped_; /**< not reported yet */
};

bool Muxer::setUrl(const std::string& text) {
    MuxerUrl url;
    if (!MuxerUrl::read(text, label(), url)) return false;
    const MutexLock lock(mutex_);
    urlText_ = text;
    url_ = std::move(url);
    return true;
}

bool Muxer::up(State target) {
    if (target != State::play) return true;
    {
        const MutexLock lock(mutex_);
        known_ = {};
    }
    {
        const MutexLock lock(entry_);
        given_ = {};
        hasBegun_ = false;
        cutsMade_ = cuts_;
    }
    names_.reset();
    groups_ = {};
    cutAtKey_ = false;
    endTrouble();
    queue_.open();
    return true;
}

bool Muxer::down(State) {
    queue_.finish();
    std::thread ended;
    {
        const MutexLock lock(entry_);
        ended.swap(thread_);
    }
    if (ended.joinable()) ended.join();
    finishSegment();
    tellLost(std::exchange(dropped_, {}));
    return true;
}

void Muxer::take(const SharedPacket& packet, const Element&) {
    GroupQueue<Queued>::PushResult pushed;
    {
        const MutexLock lock(entry_);
        const bool begins = given_.begins(*packet);
        hasBegun_ = hasBegun_ || begins;
        if (hasBegun_) {
            pushed = queue_.push({packet, cuts_}, begins, packet->weight());
            if (!thread_.joinable()) thread_ = startThread(Thread::muxer, [this] { work(); });
        }
        pushed.awaitsKey = pushed.awaitsKey || !hasBegun_;
    }
    std::vector<SharedPacket> lost;
    for (Queued& dropped : pushed.dropped) lost.push_back(std::move(dropped.packet));
    tellLost(lost);
    if (pushed.awaitsKey && packet->isVideo()) requestKeyFrame(packet->stamp);
}

void Muxer::takeCut(const Element&) {
    const MutexLock lock(entry_);
    ++cuts_;
}

void Muxer::work() {
    std::chrono::nanoseconds usual{0};
    for (;;) {
        const bool isOpen = queue_.isOpen();
        // Before the pull, so that "queued" never misses the pulled packet.
        isWriting_ = true;
        if (Queued next; queue_.pull(next, false)) {
            if (std::exchange(cutsMade_, next.cuts) != next.cuts) finishSegment();
            write(next.packet);
            usual = next.packet->duration;
            continue;
        }
        isWriting_ = false;
        if (!isOpen) return;
        if (queue_.waitWithin(std::chrono::ceil<std::chrono::milliseconds>(kOverdue + usual))) continue;
        // Idle: release what Sync holds back once it is due, and flush the open file.
        giveDue();
        if (recording_ && !recording_->flush()) retryLater();
    }
}

void Muxer::write(const SharedPacket& packet) {
    {
        const MutexLock lock(mutex_);
        (packet->isVideo() ? known_.video : known_.audio) = packet->media;
    }
    const bool begins = groups_.begins(*packet);
    if (recording_ && !recording_->hasPlaceFor(*packet->media)) cutAtKey_ = true;
    if (cutAtKey_ && begins) finishSegment();
    const bool isDue = std::chrono::steady_clock::now() >= retry_;
    if (!begins && (cutAtKey_ || (!recording_ && isDue))) requestKeyFrame(packet->stamp);
    if (!recording_ && !(begins && isDue && begin())) {
        dropped_.add(*packet);
        return;
    }
    if (!recording_->write(packet)) {
        retryLater();
        return;
    }
    if (!recording_->isOpen()) return;
    if (recording_->isSafe()) endTrouble();
    const MutexLock lock(mutex_);
    known_.complete = true;
}

bool Muxer::begin() {
    MuxerUrl url;
    {
        const MutexLock lock(mutex_);
        url = url_;
    }
    tellLost(std::exchange(dropped_, {}));
    if (url.path.empty()) {
        segments_.failed({"", "no url to write to", {}}, false);
        retryLater();
        return false;
    }
    if (!names_ || url != namedBy_) names_ = std::make_unique<FileNames>(url.path, url.openExtension);
    namedBy_ = url;
    recording_ = std::make_unique<Recording>(*names_, settings(url), known(), segments_);
    return true;
}

void Muxer::finishSegment() {
    cutAtKey_ = false;
    if (!recording_) return;
    recording_->finish();
    if (recording_->hasFailed()) {
        retryLater();
    } else if (recording_->isSafe()) {
        endTrouble();
    }
    recording_.reset();
}

void Muxer::endTrouble() {
    segments_.inTrouble = false;
    retry_ = {};
}

void Muxer::retryLater() {
    recording_.reset();
    retry_ = std::chrono::steady_clock::now() + kRetry;
}

std::unique_ptr<Clip> Muxer::beginClip(const std::string& url, OnFailed failed) {
    MuxerUrl where;
    {
        const MutexLock lock(mutex_);
        where = url_;
    }
    if (!url.empty() && !MuxerUrl::read(url, label(), where)) {
        failed({url, "not a valid URL for a clip", {}});
        return nullptr;
    }
    if (where.path.empty()) {
        KEP_HOST_ERROR(label() + ": no url for a clip");
        failed({"", "no url for a clip", {}});
        return nullptr;
    }
    // A final name must mean a complete clip, and recovery finds unfinished files by this extension.
    if (where.openExtension.empty()) where.openExtension = kClipExtension;
    const MediaFileSettings how = settings(where);
    return std::make_unique<OwnClip>(*this, std::move(where), how, known(), std::move(failed));
}

template <Container container>
class MuxerOf final : public Muxer {
  public:
    MuxerOf() : Muxer(container) {}
    ~MuxerOf() override { retire(); }
};

const ClassRegistration<MuxerOf<Container::fragmentedMp4>> fragmented("muxer-fmp4");
const ClassRegistration<MuxerOf<Container::mp4>> mp4("muxer-mp4");
const ClassRegistration<MuxerOf<Container::mpegTs>> mpegTs("muxer-ts");

}  // namespace
}  // namespace kep::host
