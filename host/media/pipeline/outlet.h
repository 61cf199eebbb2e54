#ifndef KEP_HOST_OUTLET_H
#define KEP_HOST_OUTLET_H

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "media/common/key_frame_requests.h"
#include "media/common/relay.h"
#include "media/pipeline/packet_ring.h"

namespace kep::host {

/** A listener's end: its own bounded queue, and what it wants to be told on the giver's thread. */
struct Inlet {
    static constexpr std::size_t mostBytes = 32U << 20;

    Relay<SharedPacket> relay{{8192, mostBytes}};
    std::function<void(Media::Kind, std::size_t)>
        onLost; /**< the listener was too slow for so many packets */
    std::function<void(const std::string& message)> onMessage; /**< what the pipeline's elements tell */
    std::function<void()> onEnd;                               /**< nothing more will come */

  private:
    friend class Outlet;
    GroupSense groups_;
    bool begun_ = false;
};

/**
 * The end of a pipeline, to which others attach while it runs. Each has a queue of its own: a slow one loses
 * its own oldest groups and holds back nobody. It outlives its pipeline for as long as somebody holds it.
 */
class KEP_API Outlet {
  public:
    /** Raises (true) or lowers what feeds the outlet; false when it cannot be raised. */
    using Demand = std::function<bool(bool wanted)>;

    /** Has `demand` called for the first and after the last who holds the outlet; null for nobody. */
    void setDemand(Demand demand);
    /** How much of what was given is kept for those who come later; 0 for nothing. */
    void keepPast(std::chrono::milliseconds past);

    /** Hands a packet to all listeners. Never waits for one of them. */
    void give(const SharedPacket& packet);
    /** Hands all listeners a message. */
    void tell(const std::string& message);

    /** Asks for a key frame on behalf of a listener; passed on with the next packet. */
    void requestKeyFrame(SteadyTime at) { keyFrames_.add(at); }
    /** What was asked for since the last time, for the one who gives. */
    std::vector<SteadyTime> takeKeyFrameRequests() { return keyFrames_.takeAll(); }

    /** Opens the inlet's queue and lets it have the past, then all that comes. False when what feeds
     * the outlet cannot be raised, of which it has told the reason, or when it has ended. */
    bool attach(Inlet& inlet);
    /** After this nothing of the inlet is touched any more; its queue keeps what it has. */
    void detach(Inlet& inlet);

    /** Keeps what feeds the outlet running although nobody listens. */
    bool hold();
    void release();

    /** The pipeline is no more: every listener is told. */
    void end();
    bool hasEnded() const;

  private:
    void hand(Inlet& inlet, const SharedPacket& packet);
    bool withdraw(Inlet& inlet);
    bool raise();
    void lower();

    std::mutex demandMutex_; /**< one attach or detach at a time; taken before mutex_ */
    Demand demand_;
    int holders_ = 0;

    KeyFrameRequests keyFrames_;

    mutable std::mutex mutex_;
    std::vector<Inlet*> inlets_;
    bool ended_ = false;
    // Less than an inlet takes, so that nobody loses of the past that he is handed.
    PacketRing past_{std::chrono::nanoseconds(0), 24U << 20};
};

/** The ends of the pipelines that have a name, for all applications of the process. */
class KEP_API OutletNames {
  public:
    static OutletNames& instance();

    void add(const std::string& name, std::shared_ptr<Outlet> outlet);
    void remove(const Outlet* outlet);
    /** The end of the newest pipeline of that name, without regard to case; null when there is none. */
    std::shared_ptr<Outlet> find(const std::string& name);

  private:
    struct Entry {
        std::string name;
        std::shared_ptr<Outlet> outlet;
    };

    std::mutex mutex_;
    std::vector<Entry> entries_;
};

}  // namespace kep::host

#endif
