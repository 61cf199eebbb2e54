#include "objects/face.h"

#include <unordered_set>

#include "objects/log.h"
#include "objects/named_objects.h"

namespace kep::host {
namespace {

/**
 * The faces of makers. A caller that leaves its object to the framework never deletes the face: some 150
 * bytes, which stay until the process ends. Registered here, they are reachable, which keeps leak checkers
 * quiet.
 */
class MakersFaces {
  public:
    static MakersFaces& instance() {
        // Never destroyed: faces may be deleted after this library's statics.
        static MakersFaces* const faces = new MakersFaces;
        return *faces;
    }
    void add(const Face* face) {
        const MutexLock lock(mutex_);
        faces_.insert(face);
    }
    void remove(const Face* face) {
        const MutexLock lock(mutex_);
        faces_.erase(face);
    }

  private:
    Mutex mutex_;
    std::unordered_set<const Face*> faces_ GUARDED_BY(mutex_);
};

/** The result of a call on the face's object; `failed` if that has been deleted. */
template <class Result, class Call>
Result pass(const Face& face, Result failed, Call call) {
    const std::shared_ptr<ObjectImpl> object = face.object();
    if (object) return call(*object);
    KEP_HOST_ERROR("the object of this handle has ended");
    return failed;
}

}  // namespace

Face::Face(const std::shared_ptr<ObjectImpl>& object, Role role) : object_(object), role_(role) {
    object->addListener(port_);
    if (role_ == Role::maker) MakersFaces::instance().add(this);
}

Face::~Face() {
    port_.setCallback(nullptr);
    if (role_ == Role::maker) MakersFaces::instance().remove(this);
    // Once the object has been deleted, another one may have its address.
    const std::shared_ptr<ObjectImpl> object = object_.lock();
    if (!object) return;
    object->removeListener(port_);
    if (role_ == Role::finder) {
        NamedObjects::instance().leave(object.get());
    } else {
        NamedObjects::instance().abandon(object.get());
    }
}

void Face::toString(std::string& text) const {
    pass(*this, false, [&](ObjectImpl& object) { return object.toString(text), true; });
}

bool Face::fromString(const char* text) {
    return pass(*this, false, [&](ObjectImpl& object) { return object.fromString(text); });
}

bool Face::Set(const char* key, void* value, const std::type_info* type) {
    return pass(*this, false, [&](ObjectImpl& object) { return object.Set(key, value, type); });
}

bool Face::Get(const char* key, void* value, const std::type_info* type) const {
    return pass(*this, false, [&](const ObjectImpl& object) { return object.Get(key, value, type); });
}

bool Face::SetStr(const char* key, const char* value) {
    return pass(*this, false, [&](ObjectImpl& object) { return object.SetStr(key, value); });
}

bool Face::SetWithType(const char* key, void* value, const std::type_info* type,
                       base::TypeCompatible compatible) {
    return pass(*this, false,
                [&](ObjectImpl& object) { return object.SetWithType(key, value, type, compatible); });
}

bool Face::GetWithType(const char* key, void* value, const std::type_info* type,
                       base::TypeCompatible compatible) const {
    return pass(*this, false,
                [&](const ObjectImpl& object) { return object.GetWithType(key, value, type, compatible); });
}

bool Face::Enable(bool enable) {
    return pass(*this, false, [&](ObjectImpl& object) { return object.Enable(enable); });
}

bool Face::Configure(base::AttrSet& attributes) {
    return pass(*this, false, [&](ObjectImpl& object) { return object.Configure(attributes); });
}

bool Face::addChild(base::object* child) {
    return pass(*this, false, [&](ObjectImpl& object) { return object.addChild(child); });
}

bool Face::fromAttrSet(base::AttrSet& attributes) {
    return pass(*this, false, [&](ObjectImpl& object) { return object.fromAttrSet(attributes); });
}

bool Face::toAttrSet(base::AttrSet& attributes) const {
    return pass(*this, false, [&](const ObjectImpl& object) { return object.toAttrSet(attributes); });
}

bool Face::sendMessage(base::Message& message) {
    return pass(*this, false, [&](ObjectImpl& object) { return object.sendMessage(message); });
}

bool Face::receiveMessage(base::Message& message) {
    return pass(*this, false, [&](ObjectImpl& object) { return object.receiveMessage(message); });
}

std::uint32_t Face::NameId() const {
    return pass(*this, 0U, [](const ObjectImpl& object) { return object.NameId(); });
}

base::object* Face::FindChild(const std::function<bool(const base::object&)>& matches, bool recursive) {
    return pass(*this, static_cast<base::object*>(nullptr),
                [&](ObjectImpl& object) { return object.FindChild(matches, recursive); });
}

bool Face::RegisterMessageProcessCallback(const std::function<bool(base::Message&)>& callback) {
    port_.setCallback(messageCallback(callback));
    return true;
}

bool Face::StatusIsPlay() const {
    const std::shared_ptr<ObjectImpl> object = object_.lock();
    return object && object->StatusIsPlay();
}

}  // namespace kep::host
