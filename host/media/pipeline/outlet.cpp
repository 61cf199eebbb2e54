#include "media/pipeline/outlet.h"

#include <algorithm>

#include "core/names.h"

namespace kep::host {

namespace {
constexpr std::size_t kMostPastBytes = 12U << 20;
}  // namespace

void Outlet::setDemand(Demand demand) {
    const std::lock_guard demandLock(demandMutex_);
    demand_ = std::move(demand);
}

void Outlet::keepPast(std::chrono::milliseconds past) {
    const std::lock_guard lock(mutex_);
    past_ = past;
    kept_.clear();
    keptBytes_ = 0;
}

void Outlet::give(const SharedPacket& packet) {
    const std::lock_guard lock(mutex_);
    if (past_.count() > 0) remember(packet);
    for (Inlet* const inlet : inlets_) hand(*inlet, packet);
}

void Outlet::hand(Inlet& inlet, const SharedPacket& packet) {
    const bool begins = inlet.groups_.begins(*packet);
    // What comes before the first group is nothing that this listener has lost.
    inlet.begun_ = inlet.begun_ || begins;
    if (!inlet.begun_) return;
    const std::size_t lost = inlet.queue.push(packet, begins, packet->weight()).lost;
    if (lost && inlet.onLost) inlet.onLost(packet->media->kind, lost);
}

void Outlet::remember(const SharedPacket& packet) {
    kept_.push_back({packet, groups_.begins(*packet)});
    keptBytes_ += packet->weight();
    const auto dropFirst = [this] {
        keptBytes_ -= kept_.front().packet->weight();
        kept_.pop_front();
    };
    // A group goes when the one after it reaches back far enough.
    for (;;) {
        const auto second =
            std::find_if(kept_.begin() + 1, kept_.end(), [](const Kept& kept) { return kept.begins; });
        const bool tooLong = second != kept_.end() && packet->stamp - second->packet->stamp >= past_;
        if (!tooLong && keptBytes_ <= kMostPastBytes && kept_.front().begins) return;
        do {
            dropFirst();
        } while (!kept_.empty() && !kept_.front().begins);
        if (kept_.empty()) return;
    }
}

bool Outlet::attach(Inlet& inlet) {
    const std::lock_guard demandLock(demandMutex_);
    {
        const std::lock_guard lock(mutex_);
        if (ended_) return false;
        inlet.queue.open();
        inlet.groups_ = {};
        inlet.begun_ = false;
        for (const Kept& kept : kept_) hand(inlet, kept.packet);
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
    kept_.clear();
    keptBytes_ = 0;
}

void Outlet::end() {
    const std::lock_guard lock(mutex_);
    ended_ = true;
    for (Inlet* const inlet : inlets_) {
        if (inlet->onEnd) inlet->onEnd();
        inlet->queue.finish();
    }
    kept_.clear();
    keptBytes_ = 0;
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
