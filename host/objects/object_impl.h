#ifndef KEP_HOST_OBJECT_IMPL_H
#define KEP_HOST_OBJECT_IMPL_H

#include <atomic>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "kep/object.h"
#include "kep/state.h"
#include "kep/status.h"
#include "objects/message_port.h"
#include "objects/mutex.h"
#include "objects/properties.h"

namespace kep::host {

class ClassBase;

/**
 * Base of every object created from a description: class, name, properties, state, parent and children, and
 * messages that go to its own callback and those of its parents.
 *
 * An object owns its children. Deleting a child removes it from its parent. A class whose `up` starts
 * something calls `retire` in its destructor: an object is not stopped before it is deleted.
 */
class KEP_API ObjectImpl : public virtual base::object,
                           public base::IMessageProcesser,
                           public stream::IStatus {
  public:
    ObjectImpl();
    ObjectImpl(const ObjectImpl&) = delete;
    ObjectImpl& operator=(const ObjectImpl&) = delete;
    ~ObjectImpl() override;

    /** The registered name of the class; empty for an object that no class created. */
    std::string className() const;
    const std::string& name() const { return name_; }
    /** Class and name, for an error line. */
    std::string label() const;

    std::uint32_t NameId() const override;
    base::object* FindChild(const std::function<bool(const base::object&)>& wanted, bool recursive) override;

    void toString(std::string& text) const override;
    bool fromString(const char* text) override;

    bool Set(const char* key, void* value, const std::type_info* type) override;
    bool Get(const char* key, void* value, const std::type_info* type) const override;
    bool SetStr(const char* key, const char* value) override;
    bool SetWithType(const char* key, void* value, const std::type_info* type,
                     base::TypeCompatible compatible) override;
    bool GetWithType(const char* key, void* value, const std::type_info* type,
                     base::TypeCompatible compatible) const override;
    /** A property's text; null, without an error line, if there is none. */
    virtual std::unique_ptr<std::string> text(const char* key) const;

    /** A disabled object is skipped when its parent goes up; disabling a running one stops it. */
    bool Enable(bool enable) override;
    /** Sets a property for each attribute of a description that is not reserved. */
    bool Configure(base::AttrSet& attributes) override;
    /** Takes ownership of `child`. Refused for one that has a parent, or is this object or an ancestor. */
    bool addChild(base::object* child) override;
    /** Sets a property for each attribute, up to the first that is refused. */
    bool fromAttrSet(base::AttrSet& attributes) override;
    bool toAttrSet(base::AttrSet& attributes) const override;
    /** Posts a message to this object's callback and hands it to the parent. */
    bool sendMessage(base::Message& message) override;
    /** Receives a child's message; by default sends it on upward. */
    bool receiveMessage(base::Message& message) override;
    /** Posts messages to `port` as well, until it is removed. */
    void addListener(MessagePort& port);
    void removeListener(const MessagePort& port);
    /** Replaces the callback; an empty one ends delivery. */
    bool RegisterMessageProcessCallback(const std::function<bool(base::Message&)>& callback) override;

    State state() const { return state_.load(std::memory_order_acquire); }
    bool StatusIsPlay() const override { return state() == State::play; }
    /** Goes up step by step as far as `target`; stays where it is when already there or above. */
    bool changeUp(State target);
    /** Goes down step by step as far as `target`; stays where it is when already there or below. */
    bool changeDown(State target);

    ObjectImpl* parent() const { return parent_; }
    /** A child by name, without regard to case. */
    base::object* findChild(const char* childName, bool recursive);
    std::vector<ObjectImpl*> children() const;

  protected:
    Properties& properties() { return properties_; }
    /** Adds a property of whole numbers from `low` to `high`; `changed` is called after each change. */
    void addNumber(const char* name, std::atomic<int>& value, int low, int high,
                   std::function<void()> changed = nullptr);
    /** Whether a property's new value is from `low` to `high`; writes an error line if not. */
    bool isWithin(const char* name, int value, int low, int high) const;

    /**
     * One step up, to `target`. By default takes the children up, the last first, so that each is ready for
     * the output of the one before it; when one refuses, those already up go back down.
     */
    virtual bool up(State target);
    /** One step down, to `target`. By default takes the children down, the first first. */
    virtual bool down(State target);

    /** Declares attributes that the class's own Configure reads: they are not properties, and
     * ObjectImpl::Configure skips them. */
    void reserveAttributes(std::initializer_list<std::string_view> keys);

    /** Whether a property that this object lacks is looked up in its children. */
    virtual bool asksChildren() const { return false; }

    /** Whether every attribute is reserved or a property; an error line names the first that is neither. */
    bool knowsAll(const base::AttrSet& attributes) const;

    /**
     * Makes `kept` the children, in this order: adds the new ones and deletes those that are not in it.
     * Returns false, with nothing changed, if one cannot be added.
     */
    bool replaceChildren(const std::vector<ObjectImpl*>& kept);

    /** Ends the callback, then stops the object. */
    void retire();

  private:
    friend class ClassBase;

    Access access(const char* key, const std::function<Access(const Properties&)>& use) const;
    bool isReserved(std::string_view key) const;
    bool report(Access result, const char* key, const char* value) const;
    bool isBelow(const ObjectImpl* ancestor) const;
    void removeChild(ObjectImpl* child);
    bool setState(const std::string& text, bool mayRise, bool mayFall);
    void announce(const char* event);

    const ClassBase* class_ = nullptr;
    std::string name_;
    Properties properties_;
    std::vector<std::string_view> reserved_;

    /** One change of state at a time, with no lock held while up() or down() runs. */
    class Transition;
    Mutex transitions_;
    Condition changed_;
    bool isChanging_ GUARDED_BY(transitions_) = false;
    std::atomic<State> state_{State::null};
    std::atomic<bool> enabled_{true};

    mutable Mutex tree_;
    std::atomic<ObjectImpl*> parent_{nullptr};
    std::vector<ObjectImpl*> children_ GUARDED_BY(tree_);

    MessagePort port_;
    Mutex listening_;
    std::vector<MessagePort*> listeners_ GUARDED_BY(listening_);
};

/** Adapts an object's message callback to a port; empty for an empty one. */
MessagePort::Callback messageCallback(const std::function<bool(base::Message&)>& callback);

}  // namespace kep::host

#endif
