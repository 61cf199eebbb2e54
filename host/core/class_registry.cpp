#include "core/class_registry.h"

#include <dlfcn.h>

#include <exception>
#include <map>
#include <mutex>

#include "core/creation.h"
#include "core/log.h"
#include "core/named_objects.h"
#include "core/names.h"

namespace kep::host {
namespace {

/** Where the media elements' classes are; a program need not be linked with it to describe them. */
constexpr const char* kElementLibrary = "libkepapistreaming.so";

class Registry {
  public:
    static Registry& instance() {
        // Never destroyed: registrations of other libraries may go after this library's own statics.
        static Registry* const registry = new Registry;
        return *registry;
    }

    bool add(ClassBase* entry) {
        const std::lock_guard lock(mutex_);
        return classes_.emplace(foldedClassName(entry->name()), entry).second;
    }

    void remove(const ClassBase* entry) {
        const std::lock_guard lock(mutex_);
        const auto found = classes_.find(foldedClassName(entry->name()));
        if (found != classes_.end() && found->second == entry) classes_.erase(found);
    }

    ClassBase* find(const char* type) {
        const std::lock_guard lock(mutex_);
        const auto found = classes_.find(foldedClassName(type));
        return found == classes_.end() ? nullptr : found->second;
    }

  private:
    std::mutex mutex_;
    std::map<std::string, ClassBase*> classes_;
};

/** Runs a step of making an object; what it throws becomes an error line and `failed`. */
template <class Step, class Result>
Result guarded(const std::string& name, Result failed, Step step) {
    try {
        return step();
    } catch (const std::exception& failure) {
        KEP_HOST_ERROR("cannot make " + name + ": " + failure.what());
    } catch (...) {
        KEP_HOST_ERROR("cannot make " + name);
    }
    return failed;
}

}  // namespace

ClassBase::ClassBase(const char* name, Naming naming) : name_(name), naming_(naming) {
    if (!Registry::instance().add(this)) KEP_HOST_ERROR("class " + name_ + " is registered twice");
}

ClassBase::~ClassBase() {
    Registry::instance().remove(this);
}

std::string ClassBase::key(const base::AttrSet& attributes) const {
    const char* const name = naming_ == Naming::shared ? attributes.Get("name") : nullptr;
    return name && *name ? foldedClassName(name_) + "=" + foldedName(name) : std::string();
}

Made ClassBase::make(base::AttrSet& attributes) {
    ObjectImpl* const object = dynamic_cast<ObjectImpl*>(create(attributes));
    if (!object) return {};
    const bool fresh = !object->made_;
    if (!initObject(object, attributes) || !initAttrSet(object, attributes)) return {};
    return {object, fresh};
}

object_base* ClassBase::create(base::AttrSet& attributes) {
    const std::string key = this->key(attributes);
    ObjectImpl* existing = nullptr;
    if (!key.empty() && !NamedObjects::instance().reserve(key, existing)) {
        KEP_HOST_ERROR(name_ + " \"" + attributes.GetOrDef("name", "") + "\" contains itself");
        return nullptr;
    }
    if (existing) return existing;
    ObjectImpl* const made =
        guarded(name_, static_cast<ObjectImpl*>(nullptr), [this] { return construct(); });
    if (!made) refuse(nullptr, attributes);
    return made;
}

bool ClassBase::initObject(object_base* made, base::AttrSet& attributes) {
    ObjectImpl* const object = dynamic_cast<ObjectImpl*>(made);
    if (!object) return false;
    if (!object->made_) {
        object->class_ = this;
        object->name_ = attributes.GetOrDef("name", "");
    }
    return true;
}

bool ClassBase::initAttrSet(object_base* made, base::AttrSet& attributes) {
    ObjectImpl* const object = dynamic_cast<ObjectImpl*>(made);
    if (!object) return false;
    const bool configured = attributes.GetOrDef<bool>("noconfigure", false) ||
                            guarded(object->label(), false, [&] { return object->Configure(attributes); });
    if (!configured) return refuse(object, attributes);
    object->made_ = true;
    if (const std::string key = this->key(attributes); !key.empty())
        NamedObjects::instance().settle(key, object);
    return true;
}

/** Ends the making of an object without success. */
bool ClassBase::refuse(ObjectImpl* object, const base::AttrSet& attributes) {
    if (object && !object->made_) delete object;
    if (const std::string key = this->key(attributes); !key.empty())
        NamedObjects::instance().settle(key, nullptr);
    return false;
}

}  // namespace kep::host

namespace kep::base {

IClass* IClass::Find(const char* type) {
    return type ? host::Registry::instance().find(type) : nullptr;
}

IClass* IClass::FindBeforeNew(const char* type) {
    if (!type) return nullptr;
    // Stays loaded: objects of its classes may live until the end. That it is not there is no fault by
    // itself.
    static void* const elements = dlopen(host::kElementLibrary, RTLD_NOW | RTLD_LOCAL);
    static_cast<void>(elements);
    if (IClass* const found = Find(type)) return found;
    KEP_HOST_ERROR("unknown class " + std::string(type) + host::CreationScope::placeOfType());
    return nullptr;
}

}  // namespace kep::base
