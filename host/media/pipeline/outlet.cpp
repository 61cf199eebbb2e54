#include "media/pipeline/outlet.h"

#include <algorithm>

#include "text/names.h"

namespace kep::host {

void Outlet::setDemand(Demand demand) {
    const std::lock_guard demandLock(demandMutex_);
    demand_ = std::move(demand);
}

void Outlet::keepPast(std::chrono::milliseconds past) {
    const std::lock_guard lock(mutex_);
    past_.setLength(past);
    past_.clear();
}

void Outlet::give(const SharedPacket& packet) {
    const std::lock_guard lock(mutex_);
    if (past_.length().count() > 0) {
        past_.push(packet);
        // A group that is too long to be kept.
        if (packet->isVideo() && past_.isEmpty()) requestKeyFrame(packet->stamp);
    }
    for (Inlet* const inlet : inlets_) hand(*inlet, packet);
}

void Outlet::tell(const std::string& message) {
    const std::lock_guard lock(mutex_);
    for (const Inlet* const inlet : inlets_) {
        if (inlet->onMessage) inlet->onMessage(message);
    }
}

void Outlet::hand(Inlet& inlet, const SharedPacket& packet) {
    const bool begins = inlet.groups_.begins(*packet);
    // What comes before the first group is nothing that this listener has lost.
    inlet.begun_ = inlet.begun_ || begins;
    if (!inlet.begun_) {
        if (packet->isVideo()) requestKeyFrame(packet->stamp);
        return;
    }
    const auto pushed = inlet.relay.bring(packet, begins, packet->weight(), kBriefly);
    if (pushed.awaitsKey && packet->isVideo()) requestKeyFrame(packet->stamp);
    if (pushed.lost && inlet.onLost) inlet.onLost(packet->media->kind, pushed.lost);
}

bool Outlet::attach(Inlet& inlet) {
    const std::lock_guard demandLock(demandMutex_);
    {
        const std::lock_guard lock(mutex_);
        if (ended_) return false;
        inlet.relay.queue().open();
        inlet.groups_ = {};
        inlet.begun_ = false;
        for (std::uint64_t i = past_.first(); i < past_.end(); ++i) hand(inlet, past_.at(i).packet);
        inlets_.push_back(&inlet);
    }
    if (raise()) return true;
    withdraw(inlet);
    return false;
}

bool Outlet::withdraw(Inlet& inlet) {
    const std::lock_guard lock(mutex_);
    return std::erase(inlets_, &inlet) > 0;
}

void Outlet::detach(Inlet& inlet) {
    const std::lock_guard demandLock(demandMutex_);
    if (withdraw(inlet)) lower();
}

bool Outlet::hold() {
    const std::lock_guard demandLock(demandMutex_);
    return raise();
}

void Outlet::release() {
    const std::lock_guard demandLock(demandMutex_);
    lower();
}

bool Outlet::raise() {
    if (holders_++ > 0 || !demand_ || demand_(true)) return true;
    --holders_;
    return false;
}

void Outlet::lower() {
    if (--holders_ > 0 || !demand_) return;
    demand_(false);
    // What comes when it is raised again does not follow on it.
    const std::lock_guard lock(mutex_);
    past_.clear();
}

void Outlet::end() {
    const std::lock_guard lock(mutex_);
    ended_ = true;
    for (Inlet* const inlet : inlets_) {
        if (inlet->onEnd) inlet->onEnd();
        inlet->relay.queue().finish();
    }
    past_.clear();
}

bool Outlet::hasEnded() const {
    const std::lock_guard lock(mutex_);
    return ended_;
}

OutletNames& OutletNames::instance() {
    // Never destroyed: pipelines with static storage take their names out when they go.
    static OutletNames* const names = new OutletNames;
    return *names;
}

void OutletNames::add(const std::string& name, std::shared_ptr<Outlet> outlet) {
    const std::lock_guard lock(mutex_);
    entries_.push_back({foldedName(name), std::move(outlet)});
}

void OutletNames::remove(const Outlet* outlet) {
    const std::lock_guard lock(mutex_);
    std::erase_if(entries_, [outlet](const Entry& entry) { return entry.outlet.get() == outlet; });
}

std::shared_ptr<Outlet> OutletNames::find(const std::string& name) {
    const std::string folded = foldedName(name);
    const std::lock_guard lock(mutex_);
    const auto found = std::find_if(entries_.rbegin(), entries_.rend(),
                                    [&](const Entry& entry) { return entry.name == folded; });
    return found == entries_.rend() ? nullptr : found->outlet;
}

}  // namespace kep::host
