#include "media/event/event_element.h"

#include <algorithm>
#include <utility>

#include "media/threads.h"
#include "objects/log.h"

namespace kep::host {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr seconds kUsuallyKept(30);
constexpr seconds kLongestKept(600);
constexpr std::size_t kMostBytesKept = 64U << 20;
/** Buffered beyond the time requested: a trigger may be late, and its key frame may be a group earlier. */
constexpr seconds kMargin(5);
constexpr std::size_t kMostRecordings = 64;
/** After a longer gap the camera had stopped, and pictures before the gap do not show the event. */
constexpr seconds kLongestGap(2);
/** A clip times out this long after its end and after the last picture. */
constexpr seconds kClipTimeout(5);
/** A time further ahead belongs to another clock; a clip would wait for it forever. */
constexpr seconds kFarthestAhead(60);

/** How often idle clips make the elements before them release the packets due. */
constexpr milliseconds kIdlePoll(500);

/** The first element after `element` that writes clips. */
ClipWriter* findWriter(const std::vector<Element*>& next) {
    for (Element* const element : next) {
        if (auto* const writer = dynamic_cast<ClipWriter*>(element)) return writer;
    }
    return nullptr;
}

}  // namespace

EventElement::EventElement() : ring_(kUsuallyKept, kMostBytesKept) {
    properties().add<bool>(
        "delApp", [] { return false; },
        [this](bool wanted) {
            if (wanted)
                KEP_HOST_INFO(label() +
                              ": delApp=true has no effect: an application is deleted by its creator");
            return true;
        });
}

std::optional<SteadyTime> EventElement::readPoint(const std::string& text) const {
    milliseconds point(0);
    if (!readSpan("tp", text, point)) return std::nullopt;
    const auto ahead = SteadyTime(point) - Clock::now();
    if (ahead <= kFarthestAhead) return SteadyTime(point);
    KEP_HOST_ERROR(label() + ": tp=" + text + " is " +
                   std::to_string(std::chrono::floor<seconds>(ahead).count()) +
                   " s ahead of the monotonic clock");
    return std::nullopt;
}

bool EventElement::up(State target) {
    if (!Element::up(target)) return false;
    if (target != State::play) return true;
    writer_ = findWriter(next());
    if (!writer_) {
        KEP_HOST_ERROR(label() + ": no muxer follows it in the pipeline");
        return false;
    }
    {
        const MutexLock lock(ringMutex_);
        ring_.clear();
        lastPicture_ = Clock::now();
    }
    {
        const MutexLock lock(postMutex_);
        running_ = true;
    }
    ending_ = false;
    thread_ = startThread(Thread::event, [this] { work(); });
    return true;
}

bool EventElement::down(State target) {
    if (thread_.joinable()) {
        {
            const MutexLock lock(postMutex_);
            running_ = false;
        }
        wake();
        thread_.join();
        const MutexLock lock(ringMutex_);
        ring_.clear();
    }
    return Element::down(target);
}

void EventElement::take(const SharedPacket& packet, const Element&) {
    bool lacksKey = false;
    {
        const MutexLock lock(ringMutex_);
        countLost(ring_.push(packet));
        if (packet->isVideo()) lastPicture_ = Clock::now();
        lacksKey = packet->isVideo() && ring_.isEmpty();
    }
    // The group is too long for the ring and was dropped.
    if (lacksKey) requestKeyFrame(packet->stamp);
    wake();
}

/** Counts, for each clip, the dropped packets that belong to it and are unread. */
void EventElement::countLost(const std::vector<SharedPacket>& dropped) {
    std::uint64_t number = ring_.first() - dropped.size();
    for (const SharedPacket& packet : dropped) {
        for (Recording& recording : recordings_) {
            if (number < recording.next || recording.lostEnd) continue;
            const bool isBehind = packet->stamp > recording.trigger.end();
            recording.lostEnd = packet->isVideo() && isBehind;
            if (!isBehind && packet->stamp >= recording.from) recording.lost.add(*packet);
        }
        ++number;
    }
}

bool EventElement::post(const EventTrigger& trigger) {
    std::string refusal;
    {
        const MutexLock lock(postMutex_);
        if (!running_) {
            refusal = "the service is not playing";
        } else if (asked_ >= kMostRecordings) {
            refusal = std::to_string(asked_) + " clips are in progress already";
        } else {
            ++asked_;
            posted_.push_back(trigger);
        }
    }
    if (refusal.empty()) {
        wake();
    } else {
        refuse(trigger, refusal);
    }
    return refusal.empty();
}

void EventElement::wake() {
    {
        const MutexLock lock(postMutex_);
        if (running_ && asked_ == 0) return;
        wakes_ = true;
    }
    woken_.notifyOne();
}

void EventElement::work() {
    bool waits = true;
    SteadyTime first = SteadyTime::max();
    while (collect(first, waits)) {
        waits = true;
        first = SteadyTime::max();
        for (auto at = recordings_.begin(); at != recordings_.end();) {
            const Step step = advance(*at);
            waits = waits && step == Step::waits;
            first = std::min(first, deadline(*at));
            const auto current = at++;
            if (step != Step::complete && step != Step::failed) continue;
            close(*current, step);
            const MutexLock lock(ringMutex_);
            recordings_.erase(current);
        }
    }
}

/** Moves the posted triggers to recordings_. False after shutdown once all clips are done. */
bool EventElement::collect(SteadyTime until, bool wait) {
    std::vector<EventTrigger> fresh;
    {
        MutexLock lock(postMutex_);
        const auto isWoken = [this]() REQUIRES(postMutex_) { return wakes_ || !running_; };
        if (wait && until == SteadyTime::max()) {
            woken_.wait(lock, isWoken);
        } else if (wait && !woken_.waitUntil(lock, std::min(until, Clock::now() + kIdlePoll), isWoken)) {
            lock.unlock();
            giveDue();
            lock.lock();
        }
        wakes_ = false;
        fresh.swap(posted_);
        ending_ = !running_;
    }
    // Lets a following clip begin where this one ends.
    for (const EventTrigger& trigger : fresh) requestKeyFrame(trigger.end());
    const MutexLock lock(ringMutex_);
    for (const EventTrigger& trigger : fresh) {
        const SteadyTime::duration reach =
            std::max<SteadyTime::duration>(trigger.pre, Clock::now() - trigger.begin());
        const SteadyTime::duration wanted = std::min<SteadyTime::duration>(reach + kMargin, kLongestKept);
        if (wanted > ring_.length()) ring_.setLength(wanted);
        recordings_.emplace_back().trigger = trigger;
    }
    return !ending_ || !recordings_.empty();
}

SteadyTime EventElement::deadline(const Recording& recording) {
    const MutexLock lock(ringMutex_);
    return std::max(recording.trigger.end(), lastPicture_) + kClipTimeout;
}

/** Begins a recording, or advances it by one packet. */
EventElement::Step EventElement::advance(Recording& recording) {
    if (!recording.clip) return begin(recording);
    const SharedPacket packet = nextPacket(recording);
    if (!packet) return ending_ || Clock::now() >= deadline(recording) ? Step::complete : Step::waits;
    if (packet->stamp > recording.trigger.end()) return packet->isVideo() ? Step::complete : Step::advanced;
    if (packet->stamp < recording.from) return Step::advanced;
    return recording.clip->write(packet) ? Step::advanced : Step::failed;
}

EventElement::Step EventElement::begin(Recording& recording) {
    const EventTrigger& trigger = recording.trigger;
    bool late = false;
    {
        MutexLock lock(ringMutex_);
        const std::optional<SteadyTime> shown = ring_.pictureAtOrBefore(trigger.begin());
        late = !shown || trigger.begin() - *shown > kLongestGap;
        const std::optional<std::uint64_t> key =
            late ? ring_.keyAfter(trigger.begin()) : ring_.keyAtOrBefore(trigger.begin());
        if (!key || !ring_.hasReached(trigger.begin())) {
            lock.unlock();
            const bool waits = !ending_ && Clock::now() < deadline(recording);
            return waits ? Step::waits : refuse(trigger, "no picture received");
        }
        recording.from = ring_.at(*key).packet->stamp;
        recording.next = *key;
    }
    if (recording.from > trigger.end()) return refuse(trigger, "its time span is no longer buffered");
    if (late) {
        const auto by = std::chrono::ceil<milliseconds>(recording.from - trigger.begin());
        KEP_HOST_ERROR(label() + ": clip " + trigger.url + " begins " + std::to_string(by.count()) +
                       " ms late: no earlier pictures buffered");
    }
    recording.clip =
        writer_->beginClip(trigger.url, [this](const FileFailure& failure) { clipFailed(failure); });
    return recording.clip ? Step::advanced : Step::failed;
}

EventElement::Step EventElement::refuse(const EventTrigger& trigger, const std::string& reason) {
    KEP_HOST_ERROR(label() + ": no clip " + trigger.url + ": " + reason);
    clipFailed({trigger.url, reason, {}});
    return Step::failed;
}

/** Null if no packet is available yet. Continues with the next group where the ring has dropped packets
 * because the disk was slow. */
SharedPacket EventElement::nextPacket(Recording& recording) {
    PacketCounts lost;
    SharedPacket packet;
    {
        const MutexLock lock(ringMutex_);
        lost = std::exchange(recording.lost, {});
        recording.next = std::max(recording.next, ring_.first());
        if (recording.next < ring_.end()) packet = ring_.at(recording.next++).packet;
    }
    tellLost(lost);
    return packet;
}

void EventElement::close(Recording& recording, Step how) {
    if (how == Step::complete && !recording.clip->finish()) how = Step::failed;
    recording.clip.reset();
    trace("clip " + recording.trigger.url + (how == Step::complete ? " complete" : " abandoned"));
    const MutexLock lock(postMutex_);
    --asked_;
}

}  // namespace kep::host
