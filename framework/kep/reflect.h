#ifndef KEP_REFLECT_H
#define KEP_REFLECT_H

#include "kep/attr_set.h"
#include "kep/debug_line.h"
#include "kep/object.h"
#include "kep/visibility.h"

extern "C" {

/**
 * Registers a plug-in with the framework.
 *
 * @param callback called by the framework with a text of its own
 * @param priority order among plug-ins
 * @param name     plug-in name
 * @param version  version text
 */
KEP_API int ReflectAdd(void (*callback)(const char*), int priority, const char* name, const char* version);
}

namespace kep {
namespace base {

/** A class of the framework's registry, found by the "type" of a description. */
class KEP_API IClass {
  public:
    static IClass* Find(const char* type);
    /** Like Find, but may load another library to find the class. */
    static IClass* FindBeforeNew(const char* type);

    /** Creates an object from a complete description. Null when the class refuses it; the class has then
     * freed what it created. */
    template <class T>
    T* New(AttrSet& attributes) {
        object_base* made = create(attributes);
        T* typed = dynamic_cast<T*>(made);
        if (!typed) {
            delete made;
            return nullptr;
        }
        if (!initObject(made, attributes) || !initAttrSet(made, attributes)) return nullptr;
        return typed;
    }

  protected:
    virtual object_base* create(AttrSet& attributes) = 0;
    virtual bool initObject(object_base* made, AttrSet& attributes) = 0;
    virtual bool initAttrSet(object_base* made, AttrSet& attributes) = 0;
    ~IClass() = default;
};

/** Creation of objects from description text. */
class KEP_API Object {
  public:
    /** Completes a description before its class is looked up; false refuses it. */
    static bool NewPreProcessAttrSet(AttrSet& attributes);

    template <class T>
    static T* New(const char* description) {
        AttrSet attributes;
        return attributes.Parse(description) ? New<T>(attributes) : nullptr;
    }

    template <class T>
    static T* New(AttrSet& attributes) {
        if (!NewPreProcessAttrSet(attributes)) {
            refuse(__LINE__, "!NewPreProcessAttrSet(ap)");
            return nullptr;
        }
        const char* type = attributes.Get("type");
        if (!type) {
            refuse(__LINE__, "!type");
            return nullptr;
        }
        IClass* found = IClass::Find(type);
        if (!found) found = IClass::FindBeforeNew(type);
        return found ? found->New<T>(attributes) : nullptr;
    }

  private:
    static void refuse(int line, const char* condition) {
        stream::EndDebugLine(stream::BeginDebugLine(8, "\033[31m", __FILE__, line, "New") << condition);
    }
};

/** Commands of the whole process, by name. */
class KEP_API Factory {
  public:
    static Factory& Globle();

    /** Passes `arguments` to the receiver of `command`, which may add to them; false when there is none. */
    bool Run(const char* command, AttrSet& arguments);

  private:
    Factory() = default;
};

}  // namespace base
}  // namespace kep

#endif
