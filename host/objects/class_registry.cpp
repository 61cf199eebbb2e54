#include "objects/class_registry.h"

#include <dlfcn.h>

#include <exception>
#include <map>

#include "objects/creation.h"
#include "objects/face.h"
#include "objects/log.h"
#include "objects/mutex.h"
#include "objects/named_objects.h"
#include "text/names.h"

namespace kep::host {
namespace {

class Registry {
  public:
    static Registry& instance() {
        // Never destroyed: registrations of other libraries may outlive this library's statics.
        static Registry* const registry = new Registry;
        return *registry;
    }

    bool add(ClassBase* entry) {
        const MutexLock lock(mutex_);
        return classes_.emplace(foldedClassName(entry->name()), entry).second;
    }

    void remove(const ClassBase* entry) {
        const MutexLock lock(mutex_);
        const auto found = classes_.find(foldedClassName(entry->name()));
        if (found != classes_.end() && found->second == entry) classes_.erase(found);
    }

    ClassBase* find(const char* type) {
        const MutexLock lock(mutex_);
        const auto found = classes_.find(foldedClassName(type));
        return found == classes_.end() ? nullptr : found->second;
    }

  private:
    Mutex mutex_;
    std::map<std::string, ClassBase*> classes_ GUARDED_BY(mutex_);
};

/** Runs a step of creating an object; an exception becomes an error line and `failed`. */
template <class Step, class Result>
Result guarded(const std::string& name, Result failed, Step step) {
    try {
        return step();
    } catch (const std::exception& failure) {
        KEP_HOST_ERROR("cannot create " + name + ": " + failure.what());
    } catch (...) {
        KEP_HOST_ERROR("cannot create " + name);
    }
    return failed;
}

/** Classes in separate libraries, built only if the packages that they need are installed. */
struct OptionalLibrary {
    const char* type;
    const char* file;
    const char* package;
};
constexpr OptionalLibrary kOptionalLibraries[] = {
    {"ZBarSink", "libkepcodes.so", "libzxing-dev"},
    {"HumanDetect", "libkeppeople.so", "libopencv-objdetect-dev"},
};

/** Loads the library of an optional class and never unloads it: objects may live until the process ends.
 * Returns the reason if loading fails; empty otherwise, and for any other class. */
std::string loadOptional(const char* type) {
    for (const OptionalLibrary& library : kOptionalLibraries) {
        if (foldedClassName(library.type) != foldedClassName(type)) continue;
        if (dlopen(library.file, RTLD_NOW | RTLD_LOCAL)) return "";
        return std::string("class ") + library.type + " is not in this build, which needs " +
               library.package + ": " + dlerror();
    }
    return "";
}

bool isUnconfigured(const base::AttrSet& attributes) {
    return attributes.GetOrDef<bool>("noconfigure", false);
}

}  // namespace

ClassBase::ClassBase(const char* name, Naming naming) : name_(name), naming_(naming) {
    if (!Registry::instance().add(this)) KEP_HOST_ERROR("class " + name_ + " is registered twice");
}

ClassBase::~ClassBase() {
    Registry::instance().remove(this);
}

std::unique_ptr<ObjectImpl> ClassBase::constructNamed(const base::AttrSet& attributes) {
    std::unique_ptr<ObjectImpl> object(
        guarded(name_, static_cast<ObjectImpl*>(nullptr), [this] { return construct(); }));
    if (object) {
        object->class_ = this;
        object->name_ = attributes.GetOrDef("name", "");
    }
    return object;
}

bool ClassBase::configure(ObjectImpl& object, base::AttrSet& attributes) const {
    return isUnconfigured(attributes) ||
           guarded(object.label(), false, [&] { return object.Configure(attributes); });
}

std::unique_ptr<ObjectImpl> ClassBase::make(base::AttrSet& attributes) {
    std::unique_ptr<ObjectImpl> object = constructNamed(attributes);
    return object && configure(*object, attributes) ? std::move(object) : nullptr;
}

object_base* ClassBase::create(base::AttrSet& attributes) {
    const std::string name = naming_ == Naming::scoped ? "" : attributes.GetOrDef("name", "");
    if (name.empty()) return constructNamed(attributes).release();
    const std::string key = foldedClassName(name_) + "=" + foldedName(name);
    const auto construct = [&] { return constructNamed(attributes); };
    const bool finds = isUnconfigured(attributes);
    NamedObjects& objects = NamedObjects::instance();
    const std::shared_ptr<ObjectImpl> object =
        finds ? objects.find(key, construct) : objects.begin(key, construct, naming_ == Naming::kept);
    return object ? new Face(object, finds ? Face::Role::finder : Face::Role::maker) : nullptr;
}

bool ClassBase::initObject(object_base*, base::AttrSet&) {
    return true;
}

bool ClassBase::initAttrSet(object_base* made, base::AttrSet& attributes) {
    std::unique_ptr<object_base> owner(made);
    auto* const face = dynamic_cast<Face*>(made);
    const std::shared_ptr<ObjectImpl> shared = face ? face->object() : nullptr;
    ObjectImpl* const object = face ? shared.get() : dynamic_cast<ObjectImpl*>(made);
    const bool configured = object && configure(*object, attributes);
    if (face && face->role() == Face::Role::maker) NamedObjects::instance().settle(object, configured);
    if (configured) static_cast<void>(owner.release());
    return configured;
}

}  // namespace kep::host

namespace kep::base {

IClass* IClass::Find(const char* type) {
    return type ? host::Registry::instance().find(type) : nullptr;
}

IClass* IClass::FindBeforeNew(const char* type) {
    if (!type) return nullptr;
    // Programs need not link the library with the other classes. It stays loaded: objects may live until the
    // process ends. If it is missing, the class is unknown.
    static void* const library = dlopen(KEP_CLASS_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    static_cast<void>(library);
    if (IClass* const found = Find(type)) return found;
    const std::string reason = host::loadOptional(type);
    if (IClass* const found = Find(type)) return found;
    const host::Description* const description = host::CreationScope::current();
    const std::string place = description ? description->placeOfType() : "";
    KEP_HOST_ERROR((reason.empty() ? "unknown class " + std::string(type) + place : reason + place));
    return nullptr;
}

}  // namespace kep::base
