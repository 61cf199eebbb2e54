#include "objects/object_impl.h"

#include <algorithm>
#include <utility>

#include "kep/hash.h"
#include "objects/class_registry.h"
#include "objects/creation.h"
#include "objects/log.h"
#include "objects/process_end.h"
#include "objects/state_text.h"
#include "objects/text_message.h"

namespace kep::host {

ObjectImpl::ObjectImpl() {
    reserveAttributes({"type", "name", "noconfigure"});
    const auto add = [this](const char* key, Properties::Getter<std::string> get, bool mayRise,
                            bool mayFall) {
        properties_.add<std::string>(key, std::move(get), [=, this](const std::string& text) {
            return setState(text, mayRise, mayFall);
        });
    };
    add(
        "status", [this] { return std::string(toText(state())); }, true, true);
    add("statusup", nullptr, true, false);
    add("statusdown", nullptr, false, true);
}

ObjectImpl::~ObjectImpl() {
    ProcessEnd::remove(*this);
    if (ObjectImpl* const parent = parent_) parent->removeChild(this);
    for (ObjectImpl* const child : children()) delete child;
}

std::string ObjectImpl::className() const {
    return class_ ? class_->name() : std::string();
}

std::uint32_t ObjectImpl::NameId() const {
    return name_.empty() ? 0 : Hash(name_.c_str());
}

std::string ObjectImpl::label() const {
    std::string text = class_ ? class_->name() : "object";
    if (!name_.empty()) text += " \"" + name_ + "\"";
    return text;
}

void ObjectImpl::toString(std::string& text) const {
    base::AttrSet attributes;
    toAttrSet(attributes);
    text = attributes.ToString(false);
}

bool ObjectImpl::toAttrSet(base::AttrSet& attributes) const {
    if (class_) attributes.Add("type", class_->name().c_str());
    if (!name_.empty()) attributes.Add("name", name_.c_str());
    properties_.toAttrSet(attributes);
    return true;
}

bool ObjectImpl::fromString(const char* text) {
    base::AttrSet attributes;
    return attributes.Parse(text) && fromAttrSet(attributes);
}

bool ObjectImpl::fromAttrSet(base::AttrSet& attributes) {
    for (int i = 0; attributes.Key(i); ++i) {
        if (!SetStr(attributes.Key(i), attributes.Value(i))) return false;
    }
    return true;
}

bool ObjectImpl::Configure(base::AttrSet& attributes) {
    for (int i = 0; const char* const key = attributes.Key(i); ++i) {
        const CreationScope::Reading reading(key);
        if (!isReserved(key) && !SetStr(key, attributes.Value(i))) return false;
    }
    return true;
}

void ObjectImpl::reserveAttributes(std::initializer_list<std::string_view> keys) {
    reserved_.insert(reserved_.end(), keys);
}

bool ObjectImpl::isReserved(std::string_view key) const {
    return std::find(reserved_.begin(), reserved_.end(), key) != reserved_.end();
}

bool ObjectImpl::knowsAll(const base::AttrSet& attributes) const {
    for (int i = 0; const char* const key = attributes.Key(i); ++i) {
        if (!isReserved(key) && !properties_.has(key)) return report(Access::unknown, key, "");
    }
    return true;
}

Access ObjectImpl::access(const char* key, const std::function<Access(const Properties&)>& use) const {
    if (!key) return Access::unknown;
    const Access own = use(properties_);
    if (own != Access::unknown || !asksChildren()) return own;
    for (const ObjectImpl* const child : children()) {
        const Access inner = child->access(key, use);
        if (inner != Access::unknown) return inner;
    }
    return Access::unknown;
}

bool ObjectImpl::report(Access result, const char* key, const char* value) const {
    const std::string name = key ? "\"" + std::string(key) + "\"" : "(null)";
    switch (result) {
        case Access::done:
            return true;
        case Access::refused:
            break;
        case Access::unknown:
            KEP_HOST_ERROR(label() + " has no property " + name);
            break;
        case Access::oneWay:
            KEP_HOST_ERROR("property " + name + " of " + label() + " cannot be " + (value ? "set" : "read"));
            break;
        case Access::wrongType:
            KEP_HOST_ERROR("property " + name + " of " + label() +
                           (value && *value ? ": cannot convert \"" + std::string(value) + "\" to its type"
                                            : ": its type differs from the caller's"));
            break;
    }
    return false;
}

bool ObjectImpl::isWithin(const char* name, int value, int low, int high) const {
    if (value >= low && value <= high) return true;
    KEP_HOST_ERROR(label() + ": " + name + "=" + std::to_string(value) + " is not from " +
                   std::to_string(low) + " to " + std::to_string(high));
    return false;
}

void ObjectImpl::addNumber(const char* name, std::atomic<int>& value, int low, int high,
                           std::function<void()> changed) {
    properties_.add<int>(
        name, [&value] { return value.load(); },
        [this, name, &value, low, high, changed = std::move(changed)](int wanted) {
            if (!isWithin(name, wanted, low, high)) return false;
            value = wanted;
            if (changed) changed();
            return true;
        });
}

bool ObjectImpl::Set(const char* key, void* value, const std::type_info* type) {
    return SetWithType(key, value, type, nullptr);
}

bool ObjectImpl::Get(const char* key, void* value, const std::type_info* type) const {
    return GetWithType(key, value, type, nullptr);
}

bool ObjectImpl::SetStr(const char* key, const char* value) {
    return report(access(key, [=](const Properties& of) { return of.setText(key, value); }), key,
                  value ? value : "");
}

bool ObjectImpl::SetWithType(const char* key, void* value, const std::type_info* type,
                             base::TypeCompatible compatible) {
    if (!value || !type) return report(Access::wrongType, key, "");
    return report(access(key, [=](const Properties& of) { return of.set(key, value, *type, compatible); }),
                  key, "");
}

bool ObjectImpl::GetWithType(const char* key, void* value, const std::type_info* type,
                             base::TypeCompatible compatible) const {
    if (!value || !type) return report(Access::wrongType, key, nullptr);
    return report(access(key, [=](const Properties& of) { return of.get(key, value, *type, compatible); }),
                  key, nullptr);
}

std::unique_ptr<std::string> ObjectImpl::text(const char* key) const {
    std::unique_ptr<std::string> found;
    access(key, [&](const Properties& of) {
        if (!of.has(key)) return Access::unknown;
        if (auto value = of.text(key)) found = std::make_unique<std::string>(std::move(*value));
        return Access::done;
    });
    return found;
}

bool ObjectImpl::sendMessage(base::Message& message) {
    const std::string text = message.ToString();
    port_.post(text);
    {
        const MutexLock lock(listening_);
        for (MessagePort* const port : listeners_) port->post(text);
    }
    ObjectImpl* const parent = parent_;
    return !parent || parent->receiveMessage(message);
}

void ObjectImpl::addListener(MessagePort& port) {
    const MutexLock lock(listening_);
    listeners_.push_back(&port);
}

void ObjectImpl::removeListener(const MessagePort& port) {
    const MutexLock lock(listening_);
    std::erase(listeners_, &port);
}

bool ObjectImpl::receiveMessage(base::Message& message) {
    return sendMessage(message);
}

bool ObjectImpl::RegisterMessageProcessCallback(const std::function<bool(base::Message&)>& callback) {
    port_.setCallback(messageCallback(callback));
    return true;
}

MessagePort::Callback messageCallback(const std::function<bool(base::Message&)>& callback) {
    if (!callback) return nullptr;
    return [callback](const std::string& text) {
        TextMessage message(text.c_str());
        callback(message);
    };
}

void ObjectImpl::announce(const char* event) {
    TextMessage message;
    message.Attributes().Add("name", event);
    sendMessage(message);
}

}  // namespace kep::host
