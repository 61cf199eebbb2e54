#include <algorithm>
#include <iterator>

#include "kep/hash.h"
#include "objects/log.h"
#include "objects/object_impl.h"
#include "objects/process_end.h"
#include "objects/state_text.h"

namespace kep::host {

bool ObjectImpl::isBelow(const ObjectImpl* ancestor) const {
    for (const ObjectImpl* at = parent_; at; at = at->parent_) {
        if (at == ancestor) return true;
    }
    return false;
}

bool ObjectImpl::addChild(base::object* child) {
    ObjectImpl* const added = dynamic_cast<ObjectImpl*>(child);
    if (!added) {
        KEP_HOST_ERROR(label() + ": the child is not an object");
        return false;
    }
    if (added == this || isBelow(added)) {
        KEP_HOST_ERROR(added->label() + " cannot be a child of itself");
        return false;
    }
    ObjectImpl* none = nullptr;
    if (!added->parent_.compare_exchange_strong(none, this)) {
        KEP_HOST_ERROR(added->label() + " already belongs to " + none->label());
        return false;
    }
    const MutexLock lock(tree_);
    children_.push_back(added);
    return true;
}

void ObjectImpl::removeChild(ObjectImpl* child) {
    const MutexLock lock(tree_);
    std::erase(children_, child);
    child->parent_ = nullptr;
}

bool ObjectImpl::replaceChildren(const std::vector<ObjectImpl*>& kept) {
    std::vector<ObjectImpl*> added;
    for (ObjectImpl* const child : kept) {
        if (child->parent_ == this) continue;
        if (!addChild(child)) {
            for (ObjectImpl* const undone : added) removeChild(undone);
            return false;
        }
        added.push_back(child);
    }
    const auto isKept = [&](ObjectImpl* child) {
        return std::find(kept.begin(), kept.end(), child) != kept.end();
    };
    std::vector<ObjectImpl*> gone;
    {
        const MutexLock lock(tree_);
        std::copy_if(children_.begin(), children_.end(), std::back_inserter(gone), std::not_fn(isKept));
        children_ = kept;
    }
    for (ObjectImpl* const child : gone) {
        child->parent_ = nullptr;
        delete child;
    }
    return true;
}

std::vector<ObjectImpl*> ObjectImpl::children() const {
    const MutexLock lock(tree_);
    return children_;
}

base::object* ObjectImpl::FindChild(const std::function<bool(const base::object&)>& wanted, bool recursive) {
    for (ObjectImpl* const child : children()) {
        if (wanted(*child)) return child;
        base::object* const below = recursive ? child->FindChild(wanted, true) : nullptr;
        if (below) return below;
    }
    return nullptr;
}

base::object* ObjectImpl::findChild(const char* childName, bool recursive) {
    if (!childName || !*childName) return nullptr;
    const std::uint32_t id = Hash(childName);
    return FindChild([id](const base::object& child) { return child.NameId() == id; }, recursive);
}

bool ObjectImpl::Enable(bool enable) {
    enabled_ = enable;
    return enable || changeDown(State::null);
}

bool ObjectImpl::setState(const std::string& text, bool mayRise, bool mayFall) {
    const auto target = toState(text.c_str());
    if (!target) {
        KEP_HOST_ERROR("\"" + text + "\" is not a state of " + label() + ": states are null, ready and play");
        return false;
    }
    return (!mayRise || changeUp(*target)) && (!mayFall || changeDown(*target));
}

class ObjectImpl::Transition {
  public:
    explicit Transition(ObjectImpl& object) : object_(object) {
        MutexLock lock(object.transitions_);
        object.changed_.wait(lock, [&]() REQUIRES(object.transitions_) { return !object.isChanging_; });
        object.isChanging_ = true;
    }
    Transition(const Transition&) = delete;
    Transition& operator=(const Transition&) = delete;
    ~Transition() {
        const MutexLock lock(object_.transitions_);
        object_.isChanging_ = false;
        object_.changed_.notifyOne();
    }

  private:
    ObjectImpl& object_;
};

bool ObjectImpl::changeUp(State target) {
    const Transition transition(*this);
    if (!enabled_ && target != State::null) {
        KEP_HOST_ERROR(label() + " is disabled and cannot be started");
        return false;
    }
    // No error line: a thread may start an object while a short process ends, which is not a fault.
    if (!parent_ && state() < target && ProcessEnd::hasBegun()) return false;
    while (state() < target) {
        const State next = above(state());
        if (!up(next)) return false;
        state_.store(next, std::memory_order_release);
        if (!parent_) ProcessEnd::add(*this);
        if (next == State::play && !parent_) announce("started");
    }
    return true;
}

bool ObjectImpl::changeDown(State target) {
    const Transition transition(*this);
    bool clean = true;
    while (state() > target) {
        const bool played = state() == State::play;
        const State next = below(state());
        clean = down(next) && clean;
        state_.store(next, std::memory_order_release);
        if (played && !parent_) announce("stopped");
    }
    return clean;
}

bool ObjectImpl::up(State target) {
    const std::vector<ObjectImpl*> all = children();
    for (auto child = all.rbegin(); child != all.rend(); ++child) {
        if (!(*child)->enabled_ || (*child)->changeUp(target)) continue;
        for (auto raised = child; raised != all.rbegin();) (*--raised)->changeDown(below(target));
        return false;
    }
    return true;
}

bool ObjectImpl::down(State target) {
    bool clean = true;
    for (ObjectImpl* const child : children()) clean = child->changeDown(target) && clean;
    return clean;
}

void ObjectImpl::retire() {
    ProcessEnd::remove(*this);
    port_.setCallback(nullptr);
    changeDown(State::null);
}

}  // namespace kep::host
