#include "objects/named_objects.h"

#include <algorithm>

#include "objects/object_impl.h"

namespace kep::host {

NamedObjects& NamedObjects::instance() {
    // Never destroyed: objects with static storage may release handles in their destructors.
    static NamedObjects* const objects = new NamedObjects;
    return *objects;
}

NamedObjects::Entries::iterator NamedObjects::entryOf(const ObjectImpl* object) {
    return std::find_if(entries_.begin(), entries_.end(),
                        [object](const Entry& entry) { return entry.object.get() == object; });
}

/** Moves the entry of an unused object to `unused`, so that the object is destroyed outside the lock. */
void NamedObjects::takeIfUnused(const ObjectImpl* object, Entries& unused) {
    const auto entry = entryOf(object);
    if (entry != entries_.end() && entry->finders == 0 && !entry->isBeingMade &&
        !(entry->isMade && entry->isKeptByMaker))
        unused.splice(unused.begin(), entries_, entry);
}

std::shared_ptr<ObjectImpl> NamedObjects::find(const std::string& key, const Construct& construct) {
    // Constructed under the lock, so that two threads that look for one name share one object. Constructors
    // are short and call no foreign code.
    const MutexLock lock(mutex_);
    const auto found = std::find_if(entries_.rbegin(), entries_.rend(), [&key](const Entry& entry) {
        return entry.key == key && entry.isFindable;
    });
    if (found != entries_.rend()) {
        ++found->finders;
        return found->object;
    }
    std::shared_ptr<ObjectImpl> made = construct();
    if (made) entries_.push_back({key, made, 1, false, false, false, true});
    return made;
}

void NamedObjects::leave(const ObjectImpl* object) {
    Entries unused;
    const MutexLock lock(mutex_);
    const auto entry = entryOf(object);
    if (entry == entries_.end()) return;
    --entry->finders;
    takeIfUnused(object, unused);
}

std::shared_ptr<ObjectImpl> NamedObjects::begin(const std::string& key, const Construct& construct,
                                                bool isKeptByMaker) {
    const MutexLock lock(mutex_);
    const auto empty = std::find_if(entries_.rbegin(), entries_.rend(),
                                    [&key](const Entry& entry) { return entry.key == key && !entry.isMade; });
    if (empty != entries_.rend()) {
        empty->isMade = true;
        empty->isBeingMade = true;
        empty->isKeptByMaker = isKeptByMaker;
        return empty->object;
    }
    std::shared_ptr<ObjectImpl> made = construct();
    if (made) entries_.push_back({key, made, 0, true, true, isKeptByMaker, false});
    return made;
}

void NamedObjects::settle(const ObjectImpl* object, bool configured) {
    Entries unused;
    const MutexLock lock(mutex_);
    const auto entry = entryOf(object);
    if (entry == entries_.end()) return;
    entry->isBeingMade = false;
    if (configured) {
        entry->isFindable = true;
        entries_.splice(entries_.end(), entries_, entry);
    } else {
        entry->isMade = false;
        takeIfUnused(object, unused);
    }
}

void NamedObjects::abandon(const ObjectImpl* object) {
    Entries unused;
    const MutexLock lock(mutex_);
    const auto entry = entryOf(object);
    if (entry != entries_.end()) entry->isKeptByMaker = false;
    takeIfUnused(object, unused);
}

}  // namespace kep::host
