#include "media/pipeline/outlet.h"

#include <algorithm>

#include "text/names.h"

namespace kep::host {

bool Inlet::wants(const SharedPacket& packet) {
    begins_ = groups_.begins(*packet);
    // Packets before the first group do not count as lost.
    begun_ = begun_ || begins_;
    if (!begun_) lacksKey(packet);
    return begun_;
}

void Inlet::lacksKey(const SharedPacket& packet) {
    if (packet->isVideo()) keyFrames_->add(packet->stamp);
}

void Outlet::setDemand(Demand demand) {
    MutexLock lock(demandMutex_);
    changed_.wait(lock, [this]() REQUIRES(demandMutex_) { return !isChanging_; });
    demand_ = std::move(demand);
}

void Outlet::keepPast(std::chrono::milliseconds past) {
    hub_.withPast([past](Past& kept) {
        kept.ring.setLength(past);
        kept.clear();
    });
}

void Outlet::give(const SharedPacket& packet) {
    hub_.publish(packet);
    if (!packet->isVideo()) return;
    // The ring dropped a group that is too long for it: request the next key frame.
    const bool lacksKey =
        hub_.withPast([](Past& kept) { return kept.ring.length().count() > 0 && kept.ring.isEmpty(); });
    if (lacksKey) requestKeyFrame(packet->stamp);
}

bool Outlet::attach(Inlet& inlet) {
    inlet.keyFrames_ = &keyFrames_;
    inlet.groups_ = {};
    inlet.begun_ = false;
    if (!hub_.subscribe(inlet)) return false;
    if (!hold(true)) {
        hub_.unsubscribe(inlet);
        return false;
    }
    if (inlet.worksAtOnce()) inlet.pump();
    return true;
}

void Outlet::detach(Inlet& inlet) {
    if (hub_.unsubscribe(inlet)) hold(false);
}

bool Outlet::hold(bool held) {
    Demand demand;
    {
        MutexLock lock(demandMutex_);
        changed_.wait(lock, [this]() REQUIRES(demandMutex_) { return !isChanging_; });
        const bool changes = held ? holders_++ == 0 : --holders_ == 0;
        if (!changes || !demand_) return true;
        isChanging_ = true;
        demand = demand_;
    }
    const bool done = demand(held);
    // Packets after the next start do not continue this stream.
    if (!held) hub_.withPast([](Past& kept) { kept.clear(); });
    const MutexLock lock(demandMutex_);
    if (held && !done) --holders_;
    isChanging_ = false;
    changed_.notifyAll();
    return done;
}

OutletNames& OutletNames::instance() {
    // Never destroyed: pipelines of static storage duration remove their names while the process ends.
    static OutletNames* const names = new OutletNames;
    return *names;
}

void OutletNames::add(const std::string& name, std::shared_ptr<Outlet> outlet) {
    const MutexLock lock(mutex_);
    entries_.push_back({foldedName(name), std::move(outlet)});
}

void OutletNames::remove(const Outlet* outlet) {
    const MutexLock lock(mutex_);
    std::erase_if(entries_, [outlet](const Entry& entry) { return entry.outlet.get() == outlet; });
}

std::shared_ptr<Outlet> OutletNames::find(const std::string& name) {
    const std::string folded = foldedName(name);
    const MutexLock lock(mutex_);
    const auto found = std::find_if(entries_.rbegin(), entries_.rend(),
                                    [&](const Entry& entry) { return entry.name == folded; });
    return found == entries_.rend() ? nullptr : found->outlet;
}

}  // namespace kep::host
