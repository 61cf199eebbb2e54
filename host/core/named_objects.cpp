#include "core/named_objects.h"

#include "core/names.h"
#include "core/object_impl.h"

namespace kep::host {

NamedObjects& NamedObjects::instance() {
    // Never destroyed: objects with static storage take their names out when they go.
    static NamedObjects* const objects = new NamedObjects;
    return *objects;
}

bool NamedObjects::reserve(const std::string& key, ObjectImpl*& object) {
    const std::thread::id self = std::this_thread::get_id();
    std::unique_lock lock(mutex_);
    // Looked up anew after each wait: the entry may have gone meanwhile.
    const auto maker = [&] {
        const auto found = entries_.find(key);
        return found == entries_.end() ? std::thread::id() : found->second.maker;
    };
    settled_.wait(lock, [&] { return maker() == std::thread::id() || maker() == self; });
    Entry& entry = entries_[key];
    if (entry.maker == self) return false;
    entry.maker = self;
    object = entry.object;
    return true;
}

void NamedObjects::settle(const std::string& key, ObjectImpl* object) {
    {
        const std::lock_guard lock(mutex_);
        const auto found = entries_.find(key);
        if (found == entries_.end()) return;
        found->second.maker = std::thread::id();
        if (object) found->second.object = object;
        if (!found->second.object) entries_.erase(found);
    }
    settled_.notify_all();
}

void NamedObjects::remove(const ObjectImpl* object) {
    const std::lock_guard lock(mutex_);
    for (auto entry = entries_.begin(); entry != entries_.end(); ++entry) {
        if (entry->second.object != object) continue;
        entry->second.object = nullptr;
        if (entry->second.maker == std::thread::id()) entries_.erase(entry);
        return;
    }
}

std::string NamedObjects::classOf(const std::string& name) {
    const std::lock_guard lock(mutex_);
    for (const auto& [key, entry] : entries_) {
        if (entry.object && foldedName(entry.object->name()) == foldedName(name))
            return entry.object->className();
    }
    return {};
}

}  // namespace kep::host
