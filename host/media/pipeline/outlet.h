#ifndef KEP_HOST_OUTLET_H
#define KEP_HOST_OUTLET_H

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "media/hub/hub.h"
#include "media/hub/key_frame_requests.h"
#include "media/pipeline/packet_ring.h"

namespace kep::host {

/** A listener's own bounded queue. Its first packet begins a group. */
class KEP_API Inlet : public Subscription<SharedPacket> {
  public:
    static constexpr std::size_t kMostBytes = 32U << 20;

    Inlet() : Subscription({8192, kMostBytes}) {}

  private:
    friend class Outlet;

    bool wants(const SharedPacket& packet) final;
    bool beginsGroup(const SharedPacket&) final { return begins_; }
    void lacksKey(const SharedPacket& packet) final;

    KeyFrameRequests* keyFrames_ = nullptr; /**< of the outlet */
    GroupSense groups_;
    bool begins_ = false;
    bool begun_ = false;
};

/**
 * The output of a pipeline, to which others attach while it runs. It may outlive its pipeline, as its
 * listeners share it.
 */
class KEP_API Outlet {
  public:
    /** Starts (true) or stops what feeds the outlet; false when it cannot be started. */
    using Demand = std::function<bool(bool wanted)>;

    /** Sets the callback for the first holder and after the last; may be null. */
    void setDemand(Demand demand);
    /** Sets how much of the stream is kept for later listeners; 0 for nothing. */
    void keepPast(std::chrono::milliseconds past);

    /** Passes a packet to all listeners. Never blocks on one of them. */
    void give(const SharedPacket& packet);
    /** Passes a message to all listeners. */
    void tell(const std::string& message) { hub_.tell(message); }

    /** Requests a key frame for a listener; passed upstream with the next packet. */
    void requestKeyFrame(SteadyTime at) { keyFrames_.add(at); }
    /** Takes the requests since the last call, to pass them upstream. */
    std::vector<SteadyTime> takeKeyFrameRequests() { return keyFrames_.takeAll(); }

    /** Opens the inlet's queue and enqueues the past, then all that is given. False when the outlet has
     * ended, or when what feeds it cannot be started, which has written an error line. */
    bool attach(Inlet& inlet);
    /** Afterwards the outlet no longer touches the inlet, whose queue keeps its packets. */
    void detach(Inlet& inlet);

    /** Keeps what feeds the outlet running without listeners, until called with false. Calls the demand with
     * no lock held. */
    bool hold(bool held) EXCLUDES(demandMutex_);

    /** Notifies all listeners that the pipeline is gone. */
    void end() { hub_.end(); }
    bool hasEnded() const { return hub_.hasEnded(); }

  private:
    struct Past {
        void push(const SharedPacket& packet) {
            if (ring.length().count() > 0) ring.push(packet);
        }
        template <class Function>
        void forEach(const Function& function) const {
            for (std::uint64_t i = ring.first(); i < ring.end(); ++i) function(ring.at(i).packet);
        }
        void clear() { ring.clear(); }

        // Smaller than an inlet, so that replay never overflows one.
        PacketRing ring{std::chrono::nanoseconds(0), 24U << 20};
    };

    Mutex demandMutex_;
    Condition changed_;
    Demand demand_ GUARDED_BY(demandMutex_);
    int holders_ GUARDED_BY(demandMutex_) = 0;
    bool isChanging_ GUARDED_BY(demandMutex_) = false; /**< the demand is being called */

    KeyFrameRequests keyFrames_;
    Hub<SharedPacket, Past> hub_;
};

/** The outlets of named pipelines, shared by all applications of the process. */
class KEP_API OutletNames {
  public:
    static OutletNames& instance();

    void add(const std::string& name, std::shared_ptr<Outlet> outlet);
    void remove(const Outlet* outlet);
    /** The outlet of the newest pipeline of that name, ignoring case; null when there is none. */
    std::shared_ptr<Outlet> find(const std::string& name);

  private:
    struct Entry {
        std::string name;
        std::shared_ptr<Outlet> outlet;
    };

    Mutex mutex_;
    std::vector<Entry> entries_ GUARDED_BY(mutex_);
};

}  // namespace kep::host

#endif
