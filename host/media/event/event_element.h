#ifndef KEP_HOST_EVENT_ELEMENT_H
#define KEP_HOST_EVENT_ELEMENT_H

#include <list>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include "media/pipeline/element.h"
#include "media/pipeline/packet_ring.h"
#include "media/recording/muxer.h"

namespace kep::host {

/** A request for a clip: the time it covers, and its URL. */
struct EventTrigger {
    SteadyTime point;
    std::chrono::milliseconds pre{0};
    std::chrono::milliseconds post{0};
    std::string url; /**< empty for the muxer's own URL */

    SteadyTime begin() const { return point - pre; }
    SteadyTime end() const { return point + post; }
};

/**
 * Buffers the newest packets in a ring and makes clips of them through the muxer that follows it. The muxer
 * receives nothing else.
 *
 * A clip runs from the last key frame at or before its beginning to the last picture at or before its end,
 * with audio from its first picture on. One thread, which waits for the disk, writes all clips; each reads
 * the ring at its own pace. So clips may overlap, and neither the stream nor the caller of a trigger blocks.
 * The ring grows to the longest time requested, up to a bound; a clip that falls behind it loses whole
 * groups. When the stream ends, open clips end with the packets buffered. A clip that is not made sends
 * `failed` once, as an application may wait for it.
 *
 * The ring exists beside the pre-record buffers of the pipelines that this attaches to because it holds audio
 * and video merged and numbered, with a read position for each clip; the packets themselves are shared.
 */
class EventElement : public Element {
  public:
    bool takesAtOnce() const override { return true; }
    void take(const SharedPacket& packet, const Element&) override;

  protected:
    EventElement();

    bool up(State target) override;
    bool down(State target) override;

    /** Requests a clip and returns at once. False, with an error line and `failed`, when it is refused. */
    bool post(const EventTrigger& trigger);
    /** Sends `failed` for a clip that is missing or incomplete. Its error line has been written. */
    virtual void clipFailed(const FileFailure& failure) { tellFailed(failure); }
    /** Parses `tp`, a time of the monotonic clock. Nothing, with an error line, for a text that is not a time
     * or is far in the future. */
    std::optional<SteadyTime> readPoint(const std::string& text) const;

  private:
    struct Recording {
        EventTrigger trigger;
        std::unique_ptr<Clip> clip;
        // Guarded by the ring's mutex: take() counts what the ring drops before this clip has read it.
        SteadyTime from;
        std::uint64_t next = UINT64_MAX; /**< the packet to read; UINT64_MAX before the clip begins */
        PacketCounts lost;               /**< dropped and not yet reported */
        bool lostEnd = false;            /**< the picture that would have ended the clip was dropped */
    };
    enum class Step { waits, advanced, complete, failed };

    void wake();
    void countLost(const std::vector<SharedPacket>& dropped) REQUIRES(ringMutex_);
    void work();
    bool collect(SteadyTime until, bool wait);
    Step advance(Recording& recording);
    Step begin(Recording& recording);
    SharedPacket nextPacket(Recording& recording);
    void close(Recording& recording, Step how);
    Step refuse(const EventTrigger& trigger, const std::string& reason);
    SteadyTime deadline(const Recording& recording);

    Mutex ringMutex_;
    PacketRing ring_ GUARDED_BY(ringMutex_);
    SteadyTime lastPicture_ GUARDED_BY(ringMutex_); /**< when it arrived */

    // Held briefly: the caller of a trigger must not wait.
    Mutex postMutex_;
    Condition woken_;
    std::vector<EventTrigger> posted_ GUARDED_BY(postMutex_);
    std::size_t asked_ GUARDED_BY(postMutex_) = 0; /**< clips posted or in progress */
    bool wakes_ GUARDED_BY(postMutex_) = false;
    bool running_ GUARDED_BY(postMutex_) = false;

    // Owned by the clips' thread. take() walks the list under the ring's mutex, so it changes only under
    // that.
    std::list<Recording> recordings_;
    bool ending_ = false;
    ClipWriter* writer_ = nullptr;
    std::thread thread_;
};

}  // namespace kep::host

#endif
